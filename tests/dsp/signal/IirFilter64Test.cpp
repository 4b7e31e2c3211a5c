#include "dsp/signal/IirFilter64.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

using namespace orvo::audio;

namespace
{

constexpr double tolerance = 1e-12; // rounding of some hundred recursion steps on samples of 1

Signal64 makeTestSignal()
{
    const auto sampleAt = [](int channel, int n)
    { return std::sin(0.37 * (n + 300 * channel) * n); };
    return testing_support::makeSignal(2, 300, sampleAt).toSignal64();
}

} // namespace

TEST(BandPass, passesItsCentreUnchangedAndHalfThePowerAtItsEdges)
{
    const SecondOrderSection s = IirCoefficients::designBandPass(1000.0, 10.0, 44100.0);
    EXPECT_DOUBLE_EQ(s.b[0], std::sin(2.0 * std::numbers::pi * 1000.0 / 44100.0) / 20.0);
    const auto response = [&](double frequency)
    {
        const auto z = std::polar(1.0, -2.0 * std::numbers::pi * frequency / 44100.0);
        return (s.b[0] + z * (s.b[1] + z * s.b[2])) / (s.a[0] + z * (s.a[1] + z * s.a[2]));
    };
    EXPECT_LE(std::abs(response(1000.0) - 1.0), tolerance);
    // The edges are a tenth of the centre apart; the digital design moves them a little.
    EXPECT_NEAR(std::norm(response(1051.25)), 0.5, 5e-3);
    EXPECT_NEAR(std::norm(response(951.25)), 0.5, 5e-3);
}

TEST(IirFilter64, computesTheDifferenceEquationOfAnyOrderBlockByBlock)
{
    const IirCoefficients cases[] = {{{0.5}, {2.0}},
                                     {{1.0, 0.5}, {2.0, -1.5}},
                                     IirCoefficients::createBandPass(50.0, 10.0, 44100.0),
                                     {{0.1, 0.2, 0.3, -0.4}, {-1.5, 0.6, -0.3, 0.1}}};
    const Signal64 input = makeTestSignal();
    for (const IirCoefficients& coefficients : cases)
    {
        const std::vector<double>& b = coefficients.b;
        const std::vector<double>& a = coefficients.a;
        const double* const x = input.getReadChannelPtr(1);
        IirFilter64 whole;
        whole.allocate(2, coefficients);
        IirFilter64 cut = whole;
        const Signal64 output = whole.process(input);
        std::vector<double> y(300);
        for (std::size_t n = 0; n < y.size(); ++n)
        {
            for (std::size_t k = 0; k < b.size() && k <= n; ++k)
                y[n] += (b[k] * x[n - k] - (k > 0 ? a[k] * y[n - k] : 0.0)) / a[0];
            ASSERT_NEAR(output.getReadChannelPtr(1)[n], y[n], tolerance) << n;
            ASSERT_EQ(cut.process(Signal64(2, 1, x[n])).getReadChannelPtr(1)[0],
                      output.getReadChannelPtr(1)[n]);
        }
    }
}

TEST(IirFilter64, startsFromRestOnlyWhenChannelsOrOrderChangeOrItIsToldTo)
{
    const IirCoefficients second = IirCoefficients::createBandPass(500.0, 10.0, 44100.0);
    const IirCoefficients first({1.0, 0.5}, {1.0, -0.5});
    const auto isSilentAfter = [&](auto change)
    {
        IirFilter64 original;
        original.allocate(1, second);
        original.process(makeTestSignal());
        IirFilter64 copy = original;
        change(copy);
        EXPECT_NE(original.process(Signal64(2, 1, 0.0)).getReadChannelPtr(0)[0], 0.0);
        return copy.process(Signal64(2, 1, 0.0)).getReadChannelPtr(0)[0] == 0.0;
    };
    EXPECT_TRUE(isSilentAfter([&](IirFilter64& filter) { filter.setFilter(2, second); }));
    EXPECT_TRUE(isSilentAfter([&](IirFilter64& filter) { filter.setFilter(1, first); }));
    EXPECT_TRUE(isSilentAfter([&](IirFilter64& filter) { filter.allocate(1, second); }));
    EXPECT_TRUE(isSilentAfter([](IirFilter64& filter) { filter.reset(); }));
    EXPECT_FALSE(isSilentAfter([&](IirFilter64& filter) { filter.setFilter(1, second); }));
    const SecondOrderSection next = IirCoefficients::designBandPass(600.0, 10.0, 44100.0);
    EXPECT_FALSE(isSilentAfter([&](IirFilter64& filter) { filter.setSection(1, next); }));
}
