#include "tests/support/EngineRun.h"
#include "tests/support/Measures.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace testing_support;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int settled = 3 * 48000; // from here on the tracking has found its hum

/// How many dB a harmonic has lost once the engine is settled.
double reduction(const Signal32& before, const Signal32& after, double frequency)
{
    const int count = after.getNumSamples() - settled;
    return bandLevel(cut(before, settled, count), frequency, sampleRate) -
           bandLevel(cut(after, settled, count), frequency, sampleRate);
}

} // namespace

TEST(HumRemoval, takesHumAloneAwayInBothModes)
{
    const Signal32 input = mix(makeHum({}, sampleRate, 9.0), makeNoise(-90.0, sampleRate, 9.0));
    const Signal32 normal = run({}, input);
    const Signal32 aggressive = run({.aggressive = true}, input);
    ASSERT_EQ(aggressive.getNumSamples(), input.getNumSamples());
    for (int h = 1; h <= 20; ++h)
    {
        const double least = h == 1 ? 45.0 : h == 2 ? 40.0 : h == 3 ? 37.0 : 20.0;
        EXPECT_GE(reduction(input, normal, 50.0 * h), least) << "harmonic " << h;
        EXPECT_GE(reduction(input, aggressive, 50.0 * h), 33.0) << "harmonic " << h;
    }
}

TEST(HumRemoval, leavesAVoiceBehind)
{
    const Signal32 voice = makeVoice(-22.0, sampleRate, 12.0);
    const Signal32 input = mix(voice, makeHum({}, sampleRate, 12.0));
    const Signal32 output = run({}, input);
    const int count = output.getNumSamples() - settled;
    const Signal32 wanted = cut(voice, settled, count);
    EXPECT_NEAR(siSdr(cut(input, settled, count), wanted), 4.0, 1.0);
    EXPECT_GE(siSdr(cut(output, settled, count), wanted), 12.0);
}

TEST(HumRemoval, followsADrift)
{
    const Signal32 input =
        mix(makeHum({.startFrequency = 49.5, .endFrequency = 50.5}, sampleRate, 20.0),
            makeNoise(-90.0, sampleRate, 20.0));
    PreparedEngine engine({}, 1);
    const Signal32 output = run(engine, input);
    EXPECT_NEAR(engine.getCurrentFundamental(), 50.5F, 0.1F);
    EXPECT_GE(reduction(input, output, 50.0), 40.0);
    EXPECT_GE(reduction(input, output, 100.0), 36.0);
}

TEST(HumRemoval, doesNotFollowAnEstimateOutOfReach)
{
    // At 15 Hz/s and 2048 samples per hop the reach is 0.64 Hz: 50.5 Hz is caught, 50.9 Hz is not.
    const auto trackedAfter = [](double frequency)
    {
        PreparedEngine engine({}, 1);
        run(engine, makeHum({frequency, frequency}, sampleRate, 3.0));
        return engine.getCurrentFundamental();
    };
    EXPECT_NEAR(trackedAfter(50.5), 50.5F, 0.1F);
    EXPECT_FLOAT_EQ(trackedAfter(50.9), 50.0F);
}

TEST(HumRemoval, removesWithinASecondWhatStartsLater)
{
    Signal32 input = makeHum({}, sampleRate, 6.0);
    orvo::vo::setToZero(input.getWriteChannelPtr(0), 2 * 48000);
    EXPECT_LT(peakOf(cut(run({}, input), 3 * 48000, 48000)), 0.05F * peakOf(input));
}

TEST(HumRemoval, keepsStereoChannelsApart)
{
    Signal32 input = makeHum({}, sampleRate, 4.0, 2);
    orvo::vo::setToZero(input.getWriteChannelPtr(1), input.getNumSamples());
    for (const bool aggressive : {false, true})
    {
        const Signal32 output = run({.aggressive = aggressive}, input);
        const float* const right = output.getReadChannelPtr(1);
        EXPECT_EQ(std::count(right, right + output.getNumSamples(), 0.0F), output.getNumSamples());
    }
}
