#include "kalim/report/SpectrumMeter.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace kalim::test
{

using namespace program;

namespace
{

double levelAt(const SpectrumMeter& meter, double frequency)
{
    return meter
        .getLevels()[static_cast<std::size_t>(std::lround(frequency / meter.getBinSpacing()))];
}

} // namespace

TEST(SpectrumMeter, showsASineAtItsLevelHoweverLongItIsAndHoweverItArrives)
{
    // All but the last are shorter than a segment.
    for (const double seconds : {0.05, 0.5, 3.0, 10.0})
    {
        const auto tone = testing_support::makeTone(1000.0, 0.1, 48000.0, seconds);
        std::vector<float> stereo;
        for (int n = 0; n < tone.getNumSamples(); ++n)
            stereo.insert(stereo.end(), 2, tone.getReadChannelPtr(0)[n]);
        for (const std::size_t piece : {std::size_t{2}, std::size_t{4098}, stereo.size()})
        {
            SpectrumMeter meter(2, 48000, tone.getNumSamples());
            for (std::size_t start = 0; start < stereo.size(); start += piece)
                meter.add(
                    std::span(stereo).subspan(start).first(std::min(piece, stereo.size() - start)));
            meter.finish();
            // Between two bins a line shows lower.
            EXPECT_NEAR(levelAt(meter, 1000.0), -20.0, 0.5) << seconds;
            if (seconds == 10.0)
            {
                EXPECT_LT(levelAt(meter, 900.0), -100.0);
            }
        }
    }
}

TEST(SpectrumMeter, hasAFloorForSilence)
{
    for (const std::size_t length : {0U, 1000U})
    {
        SpectrumMeter meter(1, 48000, static_cast<std::int64_t>(length));
        meter.add(std::vector<float>(length));
        meter.finish();
        EXPECT_EQ(meter.getLevels().front(), SpectrumMeter::silence);
        EXPECT_EQ(meter.getLevels().back(), SpectrumMeter::silence);
    }
}

} // namespace kalim::test
