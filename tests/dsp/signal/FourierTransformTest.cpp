#include "dsp/signal/FourierTransform.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace orvo::audio;

namespace
{

Signal32 makeTestSignal(int numSamples)
{
    return testing_support::makeSignal(
        2, numSamples, [](int channel, int n) { return std::sin(0.37 * (2 * n + channel) * n); });
}

} // namespace

TEST(FourierTransform, agreesWithTheDirectSumInEveryChannelForAlternatingSizes)
{
    FourierTransform transform;
    for (const int size : {1, 2, 8, 512, 4096, 16384, 4096, 16384})
    {
        const Signal32 input = makeTestSignal(size);
        const ComplexSignal32 spectrum = transform.forwardReal(input);
        ASSERT_EQ(spectrum.getNumSamples(), size / 2 + 1);
        for (const int channel : {0, 1})
            for (int bin = 0; bin <= size / 2; bin += 1 + size / 1024)
            {
                std::complex<double> sum = 0.0;
                for (int n = 0; n < size; ++n)
                    sum += static_cast<double>(input.getReadChannelPtr(channel)[n]) *
                           std::polar(1.0, -2.0 * std::numbers::pi * bin * n / size);
                const std::complex<double> actual = spectrum.getReadChannelPtr(channel)[bin];
                // Float rounding of values up to about 50 or 250, over up to 14 stages.
                EXPECT_LE(std::abs(actual - sum), size > 512 ? 2e-4 : 5e-5)
                    << "bin " << bin << " of " << size;
            }
    }
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
