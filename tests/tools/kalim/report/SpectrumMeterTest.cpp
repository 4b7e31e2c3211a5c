#include "tools/kalim/report/SpectrumMeter.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace kalim::program::test
{
namespace
{

std::vector<float> interleave(const orvo::audio::Signal32& signal)
{
    std::vector<float> result;
    for (int n = 0; n < signal.getNumSamples(); ++n)
        for (int channel = 0; channel < signal.getNumChannels(); ++channel)
            result.push_back(signal.getReadChannelPtr(channel)[n]);
    return result;
}

double levelAt(const SpectrumMeter& meter, double frequency)
{
    return meter
        .getLevels()[static_cast<std::size_t>(std::lround(frequency / meter.getBinSpacing()))];
}

} // namespace

TEST(SpectrumMeter, showsASineAtItsLevelHoweverItArrives)
{
    const auto tone = interleave(testing_support::makeTone(1000.0, 0.1, 48000.0, 10.0, 2));
    for (const std::size_t piece : {std::size_t{2}, std::size_t{4098}, tone.size()})
    {
        SpectrumMeter meter(2, 48000, 480000);
        for (std::size_t start = 0; start < tone.size(); start += piece)
            meter.add(std::span(tone).subspan(start, std::min(piece, tone.size() - start)));
        meter.finish();
        EXPECT_NEAR(levelAt(meter, 1000.0), -20.0, 0.5); // between two bins a line shows lower
        EXPECT_LT(levelAt(meter, 900.0), -100.0);
    }
}

TEST(SpectrumMeter, measuresRecordingsThatAreShorterThanASegment)
{
    for (const double seconds : {0.05, 0.5, 3.0})
    {
        const auto tone = interleave(testing_support::makeTone(1000.0, 0.1, 48000.0, seconds));
        SpectrumMeter meter(1, 48000, static_cast<std::int64_t>(tone.size()));
        meter.add(tone);
        meter.finish();
        EXPECT_NEAR(levelAt(meter, 1000.0), -20.0, 0.5) << seconds;
    }
}

TEST(SpectrumMeter, hasAFloorForSilence)
{
    SpectrumMeter empty(1, 48000, 0);
    empty.finish();
    EXPECT_EQ(empty.getLevels().front(), SpectrumMeter::floorDb);
    SpectrumMeter silent(1, 48000, 1000);
    silent.add(std::vector<float>(1000, 0.0F));
    silent.finish();
    EXPECT_EQ(silent.getLevels().back(), SpectrumMeter::floorDb);
}

} // namespace kalim::program::test
