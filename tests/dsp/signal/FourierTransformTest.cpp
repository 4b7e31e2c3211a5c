#include "dsp/signal/FourierTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace orvo::audio;

namespace
{

Signal32 makeTestSignal(int numSamples)
{
    Signal32 signal(2, numSamples);
    for (int n = 0; n < 2 * numSamples; ++n)
        signal.getWriteChannelPtr(n % 2)[n / 2] = static_cast<float>(std::sin(0.37 * n * n));
    return signal;
}

void expectSameBins(const ComplexSignal32& a, const ComplexSignal32& b)
{
    ASSERT_EQ(a.getNumSamples(), b.getNumSamples());
    for (int channel = 0; channel < a.getNumChannels(); ++channel)
        for (int bin = 0; bin < a.getNumSamples(); ++bin)
            ASSERT_EQ(a.getReadChannelPtr(channel)[bin], b.getReadChannelPtr(channel)[bin]);
}

} // namespace

TEST(FourierTransform, givesFlatBinsForAnImpulseAndOneBinForAConstantOrASine)
{
    FourierTransform transform;
    Signal32 impulse(1, 4096, 0.0F);
    impulse.getWriteChannelPtr(0)[0] = 1.0F;
    expectSameBins(transform.forwardReal(impulse), ComplexSignal32(1, 2049, 1.0F));
    ComplexSignal32 oneBin(1, 2049, 0.0F);
    oneBin.getWriteChannelPtr(0)[0] = 4096.0F;
    expectSameBins(transform.forwardReal(Signal32(1, 4096, 1.0F)), oneBin);
    for (int n = 0; n < 4096; ++n)
        impulse.getWriteChannelPtr(0)[n] =
            static_cast<float>(std::sin(2.0 * std::numbers::pi * 17 * n / 4096));
    // Half the size, negative imaginary; to float rounding over 12 stages.
    const ComplexSignal32 sine = transform.forwardReal(impulse);
    EXPECT_LE(std::abs(sine.getReadChannelPtr(0)[17] + std::complex(0.0F, 2048.0F)), 1e-3F);
    EXPECT_LE(std::abs(sine.getReadChannelPtr(0)[18]), 1e-3F);
}

TEST(FourierTransform, agreesWithTheDirectSumInEveryChannel)
{
    FourierTransform transform;
    for (const int size : {1, 2, 8, 512})
    {
        const Signal32 input = makeTestSignal(size);
        const ComplexSignal32 spectrum = transform.forwardReal(input);
        ASSERT_EQ(spectrum.getNumSamples(), size / 2 + 1);
        for (int bin = 0; bin <= size / 2; ++bin)
        {
            std::complex<double> sum = 0.0;
            for (int n = 0; n < size; ++n)
                sum += static_cast<double>(input.getReadChannelPtr(1)[n]) *
                       std::polar(1.0, -2.0 * std::numbers::pi * bin * n / size);
            const std::complex<double> actual = spectrum.getReadChannelPtr(1)[bin];
            // Float rounding of values up to about 50, over 9 stages.
            EXPECT_LE(std::abs(actual - sum), 5e-5) << "bin " << bin << " of " << size;
        }
    }
}

TEST(FourierTransform, givesTheSameForAlternatingSizesAsSeparateObjects)
{
    FourierTransform transform;
    for (const int size : {4096, 16384, 4096, 16384})
        expectSameBins(transform.forwardReal(makeTestSignal(size)),
                       FourierTransform().forwardReal(makeTestSignal(size)));
}

TEST(FourierTransform, refusesImpossibleSizesAndGoesOn)
{
    FourierTransform transform;
    for (const int size : {0, -1, -4096})
        EXPECT_LT(transform.allocate(size, true), 0) << size;
    EXPECT_EQ(transform.forwardReal(Signal32::empty).getNumChannels(), 0);
    EXPECT_EQ(transform.allocate(8, false), 0); // a complex plan, of no use for what follows
    ComplexSignal32 output(1, 9, 5.0F);
    transform.forwardReal(Signal32(1, 8, 1.0F), output);
    EXPECT_EQ(output.getReadChannelPtr(0)[0], 8.0F);
    EXPECT_EQ(output.getReadChannelPtr(0)[5], 5.0F) << "written behind the last bin";
}
