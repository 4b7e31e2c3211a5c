#include "dsp/signal/FourierTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>

namespace orvo::audio
{
namespace
{

Signal32 makeNoise(int numChannels, int numSamples)
{
    Signal32 noise(numChannels, numSamples);
    unsigned int state = 1;
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < numSamples; ++n)
        {
            state = state * 1664525U + 1013904223U;
            noise.getWriteChannelPtr(channel)[n] = static_cast<float>(state >> 8) / 0x1p24F - 0.5F;
        }
    return noise;
}

void expectSameBins(const ComplexSignal32& a, const ComplexSignal32& b)
{
    ASSERT_EQ(a.getNumChannels(), b.getNumChannels());
    ASSERT_EQ(a.getNumSamples(), b.getNumSamples());
    for (int channel = 0; channel < a.getNumChannels(); ++channel)
        for (int bin = 0; bin < a.getNumSamples(); ++bin)
            ASSERT_EQ(a.getReadChannelPtr(channel)[bin], b.getReadChannelPtr(channel)[bin]);
}

TEST(FourierTransform, givesAFlatSpectrumForAnImpulse)
{
    Signal32 impulse(1, 4096, 0.0F);
    impulse.getWriteChannelPtr(0)[0] = 1.0F;
    FourierTransform transform;
    const ComplexSignal32 spectrum = transform.forwardReal(impulse);
    ASSERT_EQ(spectrum.getNumSamples(), 2049);
    for (int bin = 0; bin < 2049; ++bin)
        EXPECT_EQ(spectrum.getReadChannelPtr(0)[bin], std::complex<float>(1.0F));
}

TEST(FourierTransform, givesOneBinForAConstant)
{
    FourierTransform transform;
    const ComplexSignal32 spectrum = transform.forwardReal(Signal32(1, 4096, 1.0F));
    EXPECT_EQ(spectrum.getReadChannelPtr(0)[0], std::complex<float>(4096.0F));
    for (int bin = 1; bin < 2049; ++bin)
        EXPECT_EQ(spectrum.getReadChannelPtr(0)[bin], std::complex<float>());
}

TEST(FourierTransform, agreesWithTheDirectSumInEveryChannel)
{
    FourierTransform transform;
    for (const int size : {1, 2, 8, 64, 512})
    {
        const Signal32 input = makeNoise(2, size);
        const ComplexSignal32 spectrum = transform.forwardReal(input);
        ASSERT_EQ(spectrum.getNumSamples(), size / 2 + 1);
        for (int channel = 0; channel < 2; ++channel)
            for (int bin = 0; bin <= size / 2; ++bin)
            {
                std::complex<double> sum = 0.0;
                for (int n = 0; n < size; ++n)
                    sum += static_cast<double>(input.getReadChannelPtr(channel)[n]) *
                           std::polar(1.0, -2.0 * std::numbers::pi * bin * n / size);
                const std::complex<double> actual = spectrum.getReadChannelPtr(channel)[bin];
                // Float rounding of values up to 25, over 9 stages.
                EXPECT_NEAR(std::abs(actual - sum), 0.0, 2e-5) << size << ", bin " << bin;
            }
        EXPECT_EQ(spectrum.getReadChannelPtr(0)[size / 2].imag(), 0.0F);
    }
}

TEST(FourierTransform, turnsASineIntoANegativeImaginaryBin)
{
    constexpr int size = 16384;
    constexpr int bin = 17;
    Signal32 sine(1, size);
    float* const samples = sine.getWriteChannelPtr(0);
    for (int n = 0; n < size; ++n)
        samples[n] = static_cast<float>(std::sin(2.0 * std::numbers::pi * bin * n / size));
    const ComplexSignal32 spectrum = FourierTransform().forwardReal(sine);
    // Samples are rounded to 6e-8; their errors add up to about 1e-5 in a bin.
    EXPECT_NEAR(spectrum.getReadChannelPtr(0)[bin].imag(), -size / 2.0F, 1e-2F);
    EXPECT_NEAR(spectrum.getReadChannelPtr(0)[bin].real(), 0.0F, 1e-2F);
    EXPECT_NEAR(std::abs(spectrum.getReadChannelPtr(0)[bin + 1]), 0.0F, 1e-2F);
}

TEST(FourierTransform, givesTheSameForAlternatingSizesAsSeparateObjects)
{
    const Signal32 small = makeNoise(2, 4096);
    const Signal32 large = makeNoise(1, 16384);
    const ComplexSignal32 expectedSmall = FourierTransform().forwardReal(small);
    const ComplexSignal32 expectedLarge = FourierTransform().forwardReal(large);
    FourierTransform transform;
    for (int round = 0; round < 3; ++round)
    {
        expectSameBins(transform.forwardReal(small), expectedSmall);
        expectSameBins(transform.forwardReal(large), expectedLarge);
    }
    expectSameBins(expectedSmall, transform.forwardReal(makeNoise(2, 4096)));
}

TEST(FourierTransform, leavesItsInputAlone)
{
    const Signal32 input = makeNoise(1, 4096);
    FourierTransform().forwardReal(input);
    EXPECT_EQ(std::memcmp(input.getReadChannelPtr(0), makeNoise(1, 4096).getReadChannelPtr(0),
                          4096 * sizeof(float)),
              0);
}

TEST(FourierTransform, writesOnlyItsBinsIntoALongerOutput)
{
    ComplexSignal32 output(1, 9, {5.0F, 5.0F});
    const ComplexSignal32 sharer = output;
    FourierTransform().forwardReal(Signal32(1, 8, 1.0F), output);
    EXPECT_EQ(output.getReadChannelPtr(0)[0], std::complex<float>(8.0F));
    for (int bin = 5; bin < 9; ++bin)
        EXPECT_EQ(output.getReadChannelPtr(0)[bin], std::complex<float>(5.0F, 5.0F));
    EXPECT_EQ(sharer.getReadChannelPtr(0)[0], std::complex<float>(5.0F, 5.0F));
}

TEST(FourierTransform, refusesImpossibleSizesAndGoesOn)
{
    FourierTransform transform;
    for (const int size : {0, -1, -4096})
        EXPECT_LT(transform.allocate(size, true), 0) << size;
    EXPECT_EQ(transform.forwardReal(Signal32::empty).getNumChannels(), 0);
    transform.forwardReal(Signal32(1, 0));
    EXPECT_EQ(transform.allocate(8, false), 0); // a complex plan, of no use for what follows
    const ComplexSignal32 spectrum = transform.forwardReal(Signal32(1, 8, 1.0F));
    EXPECT_EQ(spectrum.getReadChannelPtr(0)[0], std::complex<float>(8.0F));
}

} // namespace
} // namespace orvo::audio
