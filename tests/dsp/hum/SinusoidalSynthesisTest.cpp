#include "dsp/hum/SinusoidalSynthesis.h"

#include "tests/support/PlainEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

using namespace testing_support;
using orvo::audio::SinusoidalSynthesis;

namespace
{

constexpr double synthesisRate = 48000.0;
constexpr int frameLength = 2048;

} // namespace

TEST(SinusoidalSynthesis, followsOneHarmonicByItsDefinition)
{
    // A level that rises and falls and a phase that jumps, in one of two channels.
    const Signal32 program =
        makeSignal(2, 30 * frameLength,
                   [](int channel, int n)
                   {
                       const int part = channel == 0 ? n / (6 * frameLength) : 0;
                       const double amplitude = part == 1 ? 0.3 : 0.02;
                       return amplitude * std::cos(6.283185307179586 * 150.1 * n / synthesisRate +
                                                   part / 3 * 2.2);
                   });
    SinusoidalSynthesis tracker;
    tracker.setFormat(2, synthesisRate);
    PlainTracker plain(2, synthesisRate);
    for (int frame = 0; frame < 30; ++frame)
    {
        const Signal32 input = cut(program, frame * frameLength, frameLength);
        ASSERT_LT(peakOf(difference(tracker.generateSignal(input, 50.0F, 3),
                                    plain.generate(input, 50.0F, 3))),
                  1.0e-7F) // half a unit in the last place of samples below 1
            << frame;
        ASSERT_EQ(tracker.isSinusoidalPresent(), plain.isPresent()) << frame;
    }
}

TEST(SinusoidalSynthesis, leavesFrequenciesOutsideItsRangeAlone)
{
    const Signal32 noise = cut(makeNoise(-20.0, 44100.0, 1.0), 0, frameLength);
    SinusoidalSynthesis tracker;
    tracker.setFormat(1, 44100.0);
    EXPECT_EQ(peakOf(tracker.generateSignal(noise, 500.0F, 44)), 0.0F); // 22000 Hz
    EXPECT_TRUE(tracker.isFirstFrame());
    EXPECT_GT(peakOf(tracker.generateSignal(noise, 500.0F, 43)), 0.0F); // 21500 Hz
    EXPECT_FALSE(tracker.isFirstFrame());
    for (const float fundamental : {0.0F, -50.0F, std::nanf(""), HUGE_VALF})
        EXPECT_EQ(peakOf(tracker.generateSignal(noise, fundamental, 1)), 0.0F);
}

TEST(SinusoidalSynthesis, countsAsPresentAtTheThresholdButLearnsItsAmplitudeOnlyBelow)
{
    // A bin whose phase is that very float.
    const auto binAt = [](float phase)
    {
        for (float size = 100.0F;; size += 0.1F)
            if (const auto bin = std::polar(size, phase);
                std::atan2(bin.imag(), bin.real()) == phase)
                return bin;
    };

    struct Case
    {
        float deviation;
        bool isPresent;
        float endAmplitude;
    };

    for (const auto& [deviation, isPresent, endAmplitude] :
         {Case{std::nextafter(1.0F, 0.0F), true, 0.001F}, Case{1.0F, true, 0.0F},
          Case{std::nextafter(1.0F, 2.0F), false, 0.0F}})
    {
        SinusoidalSynthesis tracker; // silent so far, and foresees the phase 0
        tracker.setFormat(1, synthesisRate);
        tracker.finishFrame();
        const auto measurement = tracker.measure(0, 50.0F, frameLength, binAt(deviation));
        ASSERT_EQ(measurement.deviation, deviation);
        const auto planned = tracker.planOscillation(0, 50.0F, frameLength, 0.0F, measurement);
        tracker.finishFrame();
        EXPECT_EQ(tracker.isSinusoidalPresent(), isPresent) << deviation;
        EXPECT_EQ(planned.startAmplitude + planned.amplitudeChange, endAmplitude) << deviation;
    }
}

TEST(SinusoidalSynthesis, endsItsPrimingForPeriodsLongerThanTheFrame)
{
    SinusoidalSynthesis tracker;
    tracker.setFormat(1, synthesisRate);
    EXPECT_EQ(tracker.getNumPrimingPasses(960, frameLength), 25); // 25 * 1920 reach one second
    EXPECT_EQ(tracker.getPrimingPeriod(20.0F, frameLength), frameLength);
    EXPECT_EQ(tracker.getNumPrimingPasses(frameLength, frameLength), 24);
    EXPECT_EQ(tracker.getWholePeriods(20.0F, frameLength), 0);
    EXPECT_EQ(tracker.getPrimingPeriod(1.0e-30F, frameLength), frameLength);
}
