#include "dsp/hum/SinusoidalSynthesis.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace testing_support;
using orvo::audio::SinusoidalSynthesis;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int frameLength = 2048;

constexpr double tenFrames = 10 * frameLength / sampleRate; // seconds

Signal32 frameOf(const Signal32& signal, int index)
{
    return cut(signal, index * frameLength, frameLength);
}

SinusoidalSynthesis makeTracker(int numChannels = 1, double rate = sampleRate)
{
    SinusoidalSynthesis tracker;
    tracker.setFormat(numChannels, rate);
    return tracker;
}

} // namespace

TEST(SinusoidalSynthesis, copiesASteadyTone)
{
    const Signal32 tone = makeTone(150.0, 0.25, sampleRate, 4 * tenFrames, 1, 0.4);
    SinusoidalSynthesis tracker = makeTracker();
    for (int frame = 0; frame < 40; ++frame)
    {
        const Signal32 copy = tracker.generateSignal(frameOf(tone, frame), 50.0F, 3);
        // The band-pass starts primed with periods of the tone; it settles the rest within frames.
        const float tolerance = frame < 5 ? 0.02F : 0.0005F;
        ASSERT_LT(peakOf(difference(copy, frameOf(tone, frame))), tolerance) << "frame " << frame;
        ASSERT_TRUE(frame == 0 || tracker.isSinusoidalPresent()) << "frame " << frame;
    }
}

TEST(SinusoidalSynthesis, leavesFrequenciesAboveItsRangeAlone)
{
    const Signal32 noise = makeNoise(-20.0, 44100.0, 1.0);
    SinusoidalSynthesis tracker = makeTracker(1, 44100.0);
    EXPECT_EQ(peakOf(tracker.generateSignal(frameOf(noise, 0), 500.0F, 44)), 0.0F); // 22000 Hz
    EXPECT_TRUE(tracker.isFirstFrame());
    EXPECT_GT(peakOf(tracker.generateSignal(frameOf(noise, 0), 500.0F, 43)), 0.0F); // 21500 Hz
    EXPECT_FALSE(tracker.isFirstFrame());
    for (const float fundamental : {0.0F, -50.0F, std::nanf(""), HUGE_VALF})
        EXPECT_EQ(peakOf(tracker.generateSignal(frameOf(noise, 1), fundamental, 1)), 0.0F);
}

TEST(SinusoidalSynthesis, followsARiseByHalfPerFrameAndAFallAtOnce)
{
    const Signal32 quiet = makeTone(100.0, 0.01, sampleRate, 4 * tenFrames);
    const Signal32 loud = makeTone(100.0, 0.4, sampleRate, 4 * tenFrames);
    SinusoidalSynthesis tracker = makeTracker();
    const auto trackedPeak = [&](const Signal32& tone, int frame)
    { return peakOf(tracker.generateSignal(frameOf(tone, frame), 50.0F, 2)); };
    float before = 0.0F;
    for (int frame = 0; frame < 20; ++frame)
        before = trackedPeak(quiet, frame);
    for (int frame = 20; frame < 30; ++frame)
    {
        const float now = trackedPeak(loud, frame);
        EXPECT_LT(now, 1.52F * before) << "frame " << frame;
        before = std::max(now, 0.001F);
    }
    EXPECT_GT(before, 0.3F);
    for (int frame = 30; frame < 34; ++frame)
        trackedPeak(quiet, frame);
    EXPECT_LT(trackedPeak(quiet, 34), 0.02F);
}

TEST(SinusoidalSynthesis, silencesAPhaseJumpWithinOneFrame)
{
    const Signal32 tone = makeTone(100.0, 0.4, sampleRate, 2 * tenFrames);
    const Signal32 jumped = makeTone(100.0, 0.4, sampleRate, 3 * tenFrames, 1, 2.5);
    SinusoidalSynthesis tracker = makeTracker();
    for (int frame = 0; frame < 20; ++frame)
        tracker.generateSignal(frameOf(tone, frame), 50.0F, 2);
    ASSERT_TRUE(tracker.isSinusoidalPresent());
    bool wasAbsent = false;
    // The narrow band-pass shows the jump over two or three frames.
    for (int frame = 20; frame < 24 && !wasAbsent; ++frame)
    {
        const Signal32 copy = tracker.generateSignal(frameOf(jumped, frame), 50.0F, 2);
        wasAbsent = !tracker.isSinusoidalPresent();
        if (wasAbsent)
        {
            EXPECT_GT(peakOf(cut(copy, 0, 480)), 0.1F);
            EXPECT_LT(peakOf(cut(copy, frameLength - 48, 48)), 0.002F);
        }
    }
    EXPECT_TRUE(wasAbsent);
    for (int frame = 24; frame < 30; ++frame)
        tracker.generateSignal(frameOf(jumped, frame), 50.0F, 2);
    EXPECT_TRUE(tracker.isSinusoidalPresent());
}

TEST(SinusoidalSynthesis, reportsThePresenceOfTheLastChannel)
{
    const Signal32 tone = makeTone(100.0, 0.4, sampleRate, 2 * tenFrames);
    const Signal32 noise = makeNoise(-30.0, sampleRate, 2 * tenFrames);
    for (const int toneChannel : {0, 1})
    {
        const auto sampleAt = [&](int channel, int n)
        { return (channel == toneChannel ? tone : noise).getReadChannelPtr(0)[n]; };
        const Signal32 both = makeSignal(2, 12 * frameLength, sampleAt);
        SinusoidalSynthesis tracker = makeTracker(2);
        int numPresent = 0;
        for (int frame = 0; frame < 12; ++frame)
        {
            tracker.generateSignal(frameOf(both, frame), 50.0F, 2);
            numPresent += tracker.isSinusoidalPresent() ? 1 : 0;
        }
        EXPECT_EQ(numPresent >= 11, toneChannel == 1) << numPresent;
    }
}

TEST(SinusoidalSynthesis, endsItsPrimingForPeriodsLongerThanTheFrame)
{
    const SinusoidalSynthesis tracker = makeTracker();
    EXPECT_EQ(tracker.getPrimingPeriod(50.0F, frameLength), 960);
    EXPECT_EQ(tracker.getNumPrimingPasses(960, frameLength), 25); // 25 * 1920 reach one second
    EXPECT_EQ(tracker.getPrimingPeriod(20.0F, frameLength), frameLength);
    EXPECT_EQ(tracker.getNumPrimingPasses(frameLength, frameLength), 24);
    EXPECT_EQ(tracker.getWholePeriods(20.0F, frameLength), 0);
    EXPECT_EQ(tracker.getPrimingPeriod(1.0e-30F, frameLength), frameLength);
}
