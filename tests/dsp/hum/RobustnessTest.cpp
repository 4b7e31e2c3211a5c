#include "tests/support/EngineRun.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

using namespace testing_support;
using orvo::audio::Kalimmer;

namespace
{

constexpr double usualRate = 48000.0;
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float noNumber = std::numeric_limits<float>::quiet_NaN();

Signal32 withBurst(const Signal32& program, float value)
{
    Signal32 result = program;
    for (int channel = 0; channel < result.getNumChannels(); ++channel)
        std::fill_n(result.getWriteChannelPtr(channel) + 48000, 10, value);
    return result;
}

} // namespace

TEST(Robustness, recoversFromSamplesThatAreNoAudio)
{
    const Signal32 program = makeHum({}, usualRate, 6.0, 2);
    for (const bool aggressive : {false, true})
        for (const float value : {noNumber, infinity, -infinity, 3.0e38F, 1.0e30F, -1.0e7F})
        {
            const EngineSettings settings{.aggressive = aggressive};
            PreparedEngine engine(settings, 2);
            const Signal32 output = run(engine, withBurst(program, value));
            ASSERT_TRUE(isFinite(output)) << value;
            ASSERT_TRUE(isFinite(engine.getInputMagnitudes()));
            // A narrow filter rings down from a burst of a million in about two seconds.
            const Signal32 change = difference(output, run(settings, program));
            EXPECT_LT(peakOf(cut(change, 5 * 48000, change.getNumSamples() - 5 * 48000)), 0.02F)
                << value << (aggressive ? " aggressive" : " normal");
        }
}

TEST(Robustness, countsNotANumberAsSilenceOrAsTheDefaultOfAParameter)
{
    const Signal32 program = makeHum({}, usualRate, 2.0);
    for (const bool aggressive : {false, true})
    {
        const EngineSettings settings{.aggressive = aggressive};
        EXPECT_TRUE(areIdentical(run(settings, withBurst(program, noNumber)),
                                 run(settings, withBurst(program, 0.0F))));
        EXPECT_TRUE(areIdentical(
            run({.fundamental = noNumber, .adaptivity = noNumber, .aggressive = aggressive},
                program),
            run(settings, program)));
    }
}

TEST(Robustness, survivesEverySampleRate)
{
    const Signal32 program = makeHum({.numHarmonics = 3}, usualRate, 0.5, 1);
    for (const bool aggressive : {false, true})
        for (const double rate : {0.0, -48000.0, 1.0, 25.0, 26.0, 100.0, 1000.0, 8000.0, 11025.0,
                                  37800.0, 384000.0, 1.0e9, 1.0e300, HUGE_VAL})
        {
            const Signal32 output =
                run({.harmonics = 96, .aggressive = aggressive}, program, rate, 441);
            EXPECT_TRUE(isFinite(output)) << rate;
        }
    Kalimmer engine;
    EXPECT_FALSE(engine.setFormat(makeFormat(1, std::nan("")), makeFormat(1, std::nan(""))));
}

TEST(Robustness, survivesAFundamentalTrackedBelowOnePeriodPerFrame)
{
    // A tone that glides down takes the tracking with it, as far as 17 Hz; fresh trackers that
    // start there have to prime with a period that is longer than their frame.
    const Signal32 glide =
        makeHum({.startFrequency = 40.0, .endFrequency = 15.0, .numHarmonics = 1}, usualRate, 4.0);
    PreparedEngine engine({.fundamental = 40.0F, .adaptivity = 80.0F, .harmonics = 1}, 1);
    run(engine, glide);
    ASSERT_LT(engine.getCurrentFundamental(), usualRate / 2048.0);
    ASSERT_GT(engine.getCurrentFundamental(), 0.0F);
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, 96.0F, false);
    EXPECT_TRUE(isFinite(run(engine, makeNoise(-20.0, usualRate, 1.0))));
}

TEST(Robustness, isReadAndSetFromOtherThreadsWhileOthersPlayComeAndGo)
{
    const Signal32 program = makeHum({}, usualRate, 2.0, 2);
    const auto play = [&](Kalimmer& engine, int blockSize)
    {
        for (int position = 0; position + blockSize <= program.getNumSamples();
             position += blockSize)
            engine.process(cut(program, position, blockSize), false);
    };
    PreparedEngine engine({}, 2);
    PreparedEngine neighbour({.aggressive = true}, 2);
    std::atomic<bool> isRunning{true};
    float sum = 0.0F;
    float sumOfGuests = 0.0F;
    std::thread editor(
        [&]
        {
            while (isRunning)
            {
                const Signal32 magnitudes = engine.getInputMagnitudes();
                for (int bin = 0; bin < magnitudes.getNumSamples(); bin += 64)
                    sum += magnitudes.getReadChannelPtr(0)[bin];
                for (const auto& harmonic : engine.getDetectionStatus())
                    sum += harmonic.present ? harmonic.frequency : 0.0F;
                sum += engine.getCurrentFundamental();
                sum += static_cast<float>(engine.getProcessingInfo().processingLatency);
            }
        });
    std::thread automation(
        [&]
        {
            for (int step = 0; isRunning; ++step)
            {
                apply({.harmonics = step % 97,
                       .onlyOdd = step % 2 == 1,
                       .aggressive = step / 8 % 2 == 1},
                      engine);
                engine.resetParameterValue(Kalimmer::FundamentalFrequency, true);
                std::this_thread::yield();
            }
        });
    std::thread secondPlayer([&] { play(neighbour, 333); });
    std::thread guests(
        [&]
        {
            Signal32 kept;
            do // once at least, however busy the machine is
            {
                PreparedEngine guest({}, 1, 8000.0);
                guest.process(makeTone(50.0, 0.1, 8000.0, 0.3), false);
                guest.setFormat(makeFormat(3, 48000.0), makeFormat(3, 48000.0));
                guest.process(cut(makeNoise(-20.0, usualRate, 0.2, 3), 0, 5000), false);
                kept = guest.getInputMagnitudes(); // longer than the guest is there
            } while (isRunning);
            sumOfGuests = kept.getReadChannelPtr(0)[0];
        });
    play(engine, 64);
    isRunning = false;
    for (std::thread* const thread : {&editor, &automation, &secondPlayer, &guests})
        thread->join();
    EXPECT_TRUE(std::isfinite(sum + sumOfGuests));
}
