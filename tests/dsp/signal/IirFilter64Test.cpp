#include "dsp/signal/IirFilter64.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace orvo::audio
{
namespace
{

using Doubles = std::vector<double>;

/// Rounding of a few hundred recursion steps on samples of about 1.
constexpr double recursionTolerance = 1e-12;

Signal64 makeNoise(int numChannels, int numSamples)
{
    Signal64 noise(numChannels, numSamples);
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < numSamples; ++n)
            noise.getWriteChannelPtr(channel)[n] = std::sin(0.37 * n * n + channel);
    return noise;
}

/// The difference equation as it stands, with the samples before the start as zero.
Doubles filterDirectly(const IirCoefficients& coefficients, const double* x, int numSamples)
{
    const Doubles& b = coefficients.getB();
    const Doubles& a = coefficients.getA();
    Doubles y(static_cast<std::size_t>(numSamples));
    for (std::size_t n = 0; n < y.size(); ++n)
    {
        double sum = 0.0;
        for (std::size_t k = 0; k < b.size() && k <= n; ++k)
            sum += b[k] * x[n - k] - (k > 0 ? a[k] * y[n - k] : 0.0);
        y[n] = sum / a[0];
    }
    return y;
}

void expectChannel(const Signal64& signal, int channel, const Doubles& expected)
{
    ASSERT_EQ(signal.getNumSamples(), static_cast<int>(expected.size()));
    for (std::size_t n = 0; n < expected.size(); ++n)
        ASSERT_NEAR(signal.getReadChannelPtr(channel)[n], expected[n], recursionTolerance) << n;
}

TEST(BandPass, hasTheCoefficientsOfItsDesign)
{
    const IirCoefficients bandPass = IirCoefficients::createBandPass(50.0, 10.0, 44100.0);
    const double w0 = 2.0 * std::numbers::pi * 50.0 / 44100.0;
    const double alpha = std::sin(w0) / 20.0;
    const Doubles b = {alpha, 0.0, -alpha};
    const Doubles a = {1.0 + alpha, -2.0 * std::cos(w0), 1.0 - alpha};
    for (std::size_t k = 0; k < 3; ++k)
    {
        EXPECT_DOUBLE_EQ(bandPass.getB()[k], b[k]);
        EXPECT_DOUBLE_EQ(bandPass.getA()[k], a[k]);
    }
}

TEST(BandPass, passesItsCentreUnchangedAndItsEdgesAtHalfThePower)
{
    const auto response = [](double frequency)
    {
        const SecondOrderSection s = IirCoefficients::designBandPass(1000.0, 10.0, 44100.0);
        const auto z = std::polar(1.0, -2.0 * std::numbers::pi * frequency / 44100.0);
        return (s.b[0] + z * (s.b[1] + z * s.b[2])) / (s.a[0] + z * (s.a[1] + z * s.a[2]));
    };
    EXPECT_NEAR(std::abs(response(1000.0) - 1.0), 0.0, 1e-12); // zero phase as well
    // The quality is centre over bandwidth; the bilinear transform moves the edges a little.
    EXPECT_NEAR(std::norm(response(1000.0 * (std::sqrt(1.0025) + 0.05))), 0.5, 5e-3);
    EXPECT_NEAR(std::norm(response(1000.0 * (std::sqrt(1.0025) - 0.05))), 0.5, 5e-3);
    EXPECT_LT(std::abs(response(0.0)), 1e-12);
}

TEST(IirFilter64, computesTheDifferenceEquationOfEveryOrder)
{
    const IirCoefficients cases[] = {
        {{0.5}, {2.0}},
        {{1.0, 0.5}, {2.0, -1.5}},
        IirCoefficients::createBandPass(2000.0, 2.0, 44100.0),
        {{0.1, 0.2, 0.3, -0.4}, {-1.5, 0.6, -0.3, 0.1}},
    };
    const Signal64 input = makeNoise(2, 300);
    for (const IirCoefficients& coefficients : cases)
    {
        IirFilter64 filter;
        filter.allocate(2, coefficients);
        EXPECT_EQ(filter.getOrder(), static_cast<int>(coefficients.getB().size()) - 1);
        const Signal64 output = filter.process(input);
        ASSERT_EQ(output.getNumChannels(), 2);
        for (int channel = 0; channel < 2; ++channel)
            expectChannel(output, channel,
                          filterDirectly(coefficients, input.getReadChannelPtr(channel), 300));
    }
}

TEST(IirFilter64, keepsItsStateFromBlockToBlock)
{
    const IirCoefficients coefficients = IirCoefficients::createBandPass(500.0, 10.0, 44100.0);
    const Signal64 input = makeNoise(1, 100);
    const Doubles expected = filterDirectly(coefficients, input.getReadChannelPtr(0), 100);
    IirFilter64 filter;
    filter.allocate(1, coefficients);
    for (std::size_t n = 0; n < 100; ++n)
    {
        const Signal64 sample(1, 1, input.getReadChannelPtr(0)[n]);
        EXPECT_NEAR(filter.process(sample).getReadChannelPtr(0)[0], expected[n],
                    recursionTolerance);
    }
}

TEST(IirFilter64, goesOnFromItsStateWithNewCoefficientsOfTheSameOrder)
{
    const SecondOrderSection next = IirCoefficients::designBandPass(600.0, 10.0, 44100.0);
    const Signal64 input = makeNoise(2, 64);
    IirFilter64 filter;
    filter.allocate(2, IirCoefficients::createBandPass(500.0, 10.0, 44100.0));
    filter.process(input);
    const std::vector<double> state(filter.getDelayLine(1).begin(), filter.getDelayLine(1).end());
    ASSERT_NE(state[0], 0.0);

    filter.setFilter(2, next);

    // What comes out for silence is then the state run through the new recursion.
    const Signal64 output = filter.process(Signal64(2, 2, 0.0));
    EXPECT_EQ(output.getReadChannelPtr(1)[0], state[0]);
    EXPECT_NEAR(output.getReadChannelPtr(1)[1], state[1] - next.a[1] / next.a[0] * state[0],
                recursionTolerance);
}

TEST(IirFilter64, startsFromRestWhenChannelsOrOrderChangeOrItIsAllocated)
{
    const IirCoefficients second = IirCoefficients::createBandPass(500.0, 10.0, 44100.0);
    const IirCoefficients first({1.0, 0.5}, {1.0, -0.5});
    const Signal64 input = makeNoise(2, 64);
    const auto silenceAfter = [&](auto change)
    {
        IirFilter64 filter;
        filter.allocate(1, second);
        filter.process(input);
        change(filter);
        const Signal64 output = filter.process(Signal64(2, 3, 0.0));
        double sum = 0.0;
        for (int channel = 0; channel < output.getNumChannels(); ++channel)
            for (int n = 0; n < 3; ++n)
                sum += std::fabs(output.getReadChannelPtr(channel)[n]);
        return sum == 0.0;
    };
    EXPECT_TRUE(silenceAfter([&](IirFilter64& filter) { filter.setFilter(2, second); }));
    EXPECT_TRUE(silenceAfter([&](IirFilter64& filter) { filter.setFilter(1, first); }));
    EXPECT_TRUE(silenceAfter([&](IirFilter64& filter) { filter.allocate(1, second); }));
    EXPECT_TRUE(silenceAfter([&](IirFilter64& filter) { filter.reset(); }));
    EXPECT_FALSE(silenceAfter([&](IirFilter64& filter) { filter.setFilter(1, second); }));
}

TEST(IirFilter64, normalisesItsTapsAndItsStateByTheFirstDenominator)
{
    IirFilter64 plain;
    IirFilter64 scaled;
    plain.allocate(1, {{0.5, 0.25, 0.125}, {1.0, -0.5, 0.25}});
    scaled.allocate(1, {{2.0, 1.0, 0.5}, {4.0, -2.0, 1.0}});
    const Signal64 input = makeNoise(1, 20);
    plain.process(input);
    scaled.process(input);
    for (std::size_t tap = 0; tap < 6; ++tap)
        EXPECT_EQ(scaled.getNormalisedTaps()[tap], plain.getNormalisedTaps()[tap]);
    for (std::size_t k = 0; k < 2; ++k)
        EXPECT_EQ(scaled.getDelayLine(0)[k], plain.getDelayLine(0)[k]);
}

TEST(IirFilter64, listsTheTapsAsTheyWereGiven)
{
    EXPECT_EQ(IirFilter64::getIppTaps({{1.0, 2.0}, {4.0, 5.0, 6.0}}),
              (Doubles{1.0, 2.0, 4.0, 5.0}));
}

TEST(IirFilter64, isIndependentOfItsCopies)
{
    const IirCoefficients coefficients = IirCoefficients::createBandPass(500.0, 10.0, 44100.0);
    const Signal64 input = makeNoise(1, 50);
    IirFilter64 original;
    original.allocate(1, coefficients);
    original.process(input);
    IirFilter64 copy = original;
    const Signal64 next = original.process(input);
    original.reset();
    const Signal64 nextOfCopy = copy.process(input);
    for (int n = 0; n < 50; ++n)
        EXPECT_EQ(nextOfCopy.getReadChannelPtr(0)[n], next.getReadChannelPtr(0)[n]);
}

TEST(IirFilter64, hasNoOutputBeforeItHasCoefficients)
{
    IirFilter64 filter;
    EXPECT_EQ(filter.process(makeNoise(2, 8)).getNumChannels(), 0);
    EXPECT_EQ(filter.getOrder(), 0);
}

} // namespace
} // namespace orvo::audio
