#include "dsp/hum/SinusoidalSynthesis.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace testing_support;
using orvo::audio::SinusoidalSynthesis;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int frameLength = 2048;

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

/// Two tones in one signal, the second from frame `border` on.
Signal32 joined(const Signal32& first, const Signal32& second, int border)
{
    Signal32 result = first;
    const int start = border * frameLength;
    orvo::vo::copy(second.getReadChannelPtr(0) + start, result.getWriteChannelPtr(0) + start,
                   first.getNumSamples() - start);
    return result;
}

Signal32 makeShiftedTone(double frequency, double amplitude, double phase, int numFrames)
{
    Signal32 result(1, numFrames * frameLength);
    for (int n = 0; n < result.getNumSamples(); ++n)
        result.getWriteChannelPtr(0)[n] = static_cast<float>(
            amplitude * std::cos(2.0 * std::numbers::pi * frequency * n / sampleRate + phase));
    return result;
}

} // namespace

TEST(SinusoidalSynthesis, copiesASteadyTone)
{
    const Signal32 tone = makeShiftedTone(150.0, 0.25, 0.4, 40);
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

TEST(SinusoidalSynthesis, measuresAmplitudeAndPhaseAndForeseesThePhase)
{
    const Signal32 tone = makeShiftedTone(100.0, 0.5, -1.0, 2);
    SinusoidalSynthesis tracker = makeTracker();
    float amplitude = 0.0F;
    float phase = 0.0F;
    float deviation = 0.0F;
    tracker.analyseSignal(frameOf(tone, 0), 0, 100.0F, amplitude, phase, deviation);
    EXPECT_NEAR(amplitude, 0.5F, 1e-5F);
    EXPECT_NEAR(phase, -1.0F, 1e-4F);
    EXPECT_NEAR(deviation, -1.0F, 1e-4F); // a new tracker foresees phase 0
    tracker.analyseSignal(frameOf(tone, 1), 0, 100.0F, amplitude, phase, deviation);
    EXPECT_NEAR(deviation, 0.0F, 1e-3F);
    EXPECT_TRUE(tracker.isSinusoidalPresent());
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
    const Signal32 quiet = makeShiftedTone(100.0, 0.01, 0.0, 60);
    const Signal32 loud = makeShiftedTone(100.0, 0.4, 0.0, 60);
    SinusoidalSynthesis tracker = makeTracker();
    const Signal32 rising = joined(quiet, loud, 20);
    float before = 0.01F;
    for (int frame = 0; frame < 30; ++frame)
    {
        const float now = peakOf(tracker.generateSignal(frameOf(rising, frame), 50.0F, 2));
        EXPECT_TRUE(frame < 20 || now < 1.52F * before) << "frame " << frame;
        before = std::max(now, 0.001F);
    }
    EXPECT_GT(before, 0.3F);
    for (int frame = 30; frame < 34; ++frame)
        tracker.generateSignal(frameOf(quiet, frame), 50.0F, 2);
    EXPECT_LT(peakOf(tracker.generateSignal(frameOf(quiet, 34), 50.0F, 2)), 0.02F);
}

TEST(SinusoidalSynthesis, silencesAPhaseJumpWithinOneFrame)
{
    const Signal32 tone = makeShiftedTone(100.0, 0.4, 0.0, 30);
    const Signal32 jumped = joined(tone, makeShiftedTone(100.0, 0.4, 2.5, 30), 20);
    SinusoidalSynthesis tracker = makeTracker();
    for (int frame = 0; frame < 20; ++frame)
        tracker.generateSignal(frameOf(jumped, frame), 50.0F, 2);
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
    const Signal32 tone = makeShiftedTone(100.0, 0.4, 0.0, 12);
    const Signal32 noise = makeNoise(-30.0, sampleRate, 1.0);
    for (const int toneChannel : {0, 1})
    {
        SinusoidalSynthesis tracker = makeTracker(2);
        int numPresent = 0;
        for (int frame = 0; frame < 12; ++frame)
        {
            Signal32 input(2, frameLength);
            for (const int channel : {0, 1})
                orvo::vo::copy((channel == toneChannel ? tone : noise).getReadChannelPtr(0) +
                                   frame * frameLength,
                               input.getWriteChannelPtr(channel), frameLength);
            tracker.generateSignal(input, 50.0F, 2);
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

TEST(SinusoidalSynthesis, isACopyableValue)
{
    const Signal32 tone = makeTone(50.0, 0.3, sampleRate, 1.0);
    SinusoidalSynthesis tracker = makeTracker();
    tracker.generateSignal(frameOf(tone, 0), 50.0F, 1);
    SinusoidalSynthesis copy = tracker;
    const Signal32 expected = tracker.generateSignal(frameOf(tone, 1), 50.0F, 1);
    tracker.generateSignal(frameOf(tone, 5), 50.0F, 1);
    EXPECT_TRUE(areIdentical(copy.generateSignal(frameOf(tone, 1), 50.0F, 1), expected));
}
