#include "tests/support/EngineRun.h"
#include "tests/support/Heap.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <new>
#include <numeric>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace testing_support;
using orvo::audio::Kalimmer;

namespace
{

constexpr double engineRate = 48000.0;

Signal32 makeProgram()
{
    return mix(makeHum({.startFrequency = 50.1, .endFrequency = 50.1}, engineRate, 2.0, 2),
               makeNoise(-40.0, engineRate, 2.0, 2));
}

} // namespace

TEST(Kalimmer, hasItsParametersInOrder)
{
    const std::vector<std::string> table = {"FundamentalFrequency in Hz, 40 to 500: 50 as 50.00",
                                            "Sensitivity in %, 0 to 100: 30 as 30.0",
                                            "Adaptivity in Hz/s, 0 to 80: 15 as 15.0",
                                            "NumberOfHarmonics in , 0 to 96: 1 as 1",
                                            "OnlyOddHarmonics in , 0 to 1: 0 as Off",
                                            "AggressiveMode in , 0 to 1: 0 as Off",
                                            "ResidualMode in , 0 to 1: 0 as Off"};
    Kalimmer engine;
    ASSERT_EQ(engine.getNumParameters(), 7);
    for (int id = 0; id < 7; ++id)
    {
        const auto& parameter = engine.getParameter(id);
        float min = 0.0F;
        float max = 0.0F;
        engine.getParameterRange(id, min, max);
        std::ostringstream text;
        text << parameter.name << " in " << parameter.unit << ", " << min << " to " << max << ": "
             << parameter.getDefaultValueAsFloat() << " as " << parameter.getValueText();
        EXPECT_EQ(text.str(), table[static_cast<std::size_t>(id)]);
        EXPECT_EQ(engine.getParameterValue(id), parameter.getDefaultValueAsFloat());
    }
    EXPECT_EQ(engine.getName(), "Kalim");
}

TEST(Kalimmer, derivesItsLatencyFromTheSampleRate)
{
    const std::pair<double, int> hops[] = {{44100.0, 2048}, {48000.0, 2048},  {88200.0, 4096},
                                           {96000.0, 4096}, {192000.0, 8192}, {22050.0, 1024},
                                           {8000.0, 256}};
    for (const auto& [rate, expected] : hops)
    {
        PreparedEngine engine({}, 2, rate);
        EXPECT_EQ(engine.getProcessingInfo().processingLatency, expected) << rate;
        engine.setParameterValue(Kalimmer::AggressiveMode, 1.0F, false);
        EXPECT_EQ(engine.getProcessingInfo().processingLatency, 0);
    }
}

TEST(Kalimmer, refusesFormatsThatDoNotMatchAndGoesOnAsBefore)
{
    PreparedEngine engine({}, 2);
    PreparedEngine undisturbed({}, 2);
    const Signal32 program = makeProgram();
    run(engine, program);
    run(undisturbed, program);
    EXPECT_FALSE(engine.setFormat(makeFormat(2, engineRate), makeFormat(1, engineRate)));
    EXPECT_EQ(engine.getOutputFormat().getNumChannels(), 1);
    EXPECT_FALSE(engine.setFormat(makeFormat(0, engineRate), makeFormat(0, engineRate)));
    EXPECT_FALSE(engine.setFormat(makeFormat(2, engineRate), makeFormat(2, 44100.0)));
    EXPECT_TRUE(areIdentical(run(engine, program), run(undisturbed, program)));
    EXPECT_TRUE(engine.setFormat(makeFormat(2, engineRate), makeFormat(2, engineRate)));
}

TEST(Kalimmer, goesOnAsBeforeWhenThereIsNoMemoryForAFormat)
{
    if (!canSeeHeap)
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    const Signal32 program = makeProgram();
    PreparedEngine engine({}, 2);
    PreparedEngine undisturbed({}, 2);
    const auto format = makeFormat(3, 96000.0);
    // Every allocation fails once; what was reserved by then is not asked for again.
    const auto isRefused = [&](int numLeft)
    {
        try
        {
            const HeapLimit limit(numLeft);
            return !engine.setFormat(format, format);
        }
        catch (const std::bad_alloc&)
        {
            return true;
        }
    };
    int numRefused = 0;
    for (; isRefused(numRefused); ++numRefused)
    {
        ASSERT_EQ(engine.getInputFormat().getNumChannels(), 2);
        const Signal32 block = cut(program, numRefused * 700 % 90000, 700);
        ASSERT_TRUE(areIdentical(engine.process(block, false), undisturbed.process(block, false)));
    }
    EXPECT_GT(numRefused, 20);
    EXPECT_EQ(engine.getHopSize(), 4096);
}

TEST(Kalimmer, leavesTheHeapAloneFromTheFirstBlockOn)
{
    for (const bool aggressive : {false, true})
        for (const int numChannels : {1, 2, 3, 4, 5, 6, 7, 8})
            for (const int blockSize : {1, 4, 64, 2048, 4096, 10000})
            {
                Kalimmer engine;
                apply({.harmonics = 96, .aggressive = aggressive, .residual = blockSize % 64 == 0},
                      engine);
                engine.maximumBlockSize = blockSize;
                const auto format = makeFormat(numChannels, engineRate);
                engine.setFormat(format, format);
                const Signal32 block =
                    cut(makeNoise(-20.0, engineRate, 0.3, numChannels), 0, blockSize);
                const int numBlocks = std::min(24000 / blockSize, 3000) + 2;
                const HeapCount heap;
                for (int n = 0; n < numBlocks; ++n)
                    engine.process(block, n == 3);
                EXPECT_EQ(heap.getNumCalls(), 0)
                    << blockSize << (aggressive ? " aggressive" : " normal") << numChannels;
            }
}

TEST(Kalimmer, isLockedByWhatWouldDisturbIt)
{
    struct Open : PreparedEngine
    {
        Open()
            : PreparedEngine({}, 1)
        {
        }

        using PreparedEngine::parameterLock;
    };

    Open engine;
    const auto format = makeFormat(1, engineRate);
    const Signal32 block = makeTone(50.0, 0.1, engineRate, 0.1);
    const std::vector<std::function<void()>> calls = {
        [&] { engine.process(block, false); }, [&] { engine.reset(); },
        [&] { engine.setParameterValue(0, 60.0F, false); },
        [&] { engine.resetParameterValue(0, false); }, [&] { engine.setFormat(format, format); }};
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        std::unique_lock lock(engine.parameterLock);
        const auto call = std::async(std::launch::async, calls[i]);
        // Without the lock, each is over in a fraction of this.
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout) << i;
        lock.unlock();
        call.wait();
    }
}

TEST(Kalimmer, passesEverythingOnBeforeAFormatAndWhenChannelsDoNotFit)
{
    const Signal32 program = makeProgram();
    EXPECT_EQ(Kalimmer().process(program, false).getReadChannelPtr(0),
              program.getReadChannelPtr(0));
    EXPECT_EQ(PreparedEngine({}, 3).process(program, false).getReadChannelPtr(0),
              program.getReadChannelPtr(0));
}

TEST(Kalimmer, takesSteadyAndDriftingHumAwayAndNothingOfASilentChannel)
{
    for (const bool aggressive : {false, true})
        for (const double drift : {0.0, 0.5})
        {
            Signal32 hum = makeHum({50.0 - drift, 50.0 + drift}, engineRate, 7.0, 2);
            orvo::vo::setToZero(hum.getWriteChannelPtr(1), hum.getNumSamples());
            const Signal32 output = run({.aggressive = aggressive}, hum);
            const int settled = 4 * 48000;
            const Signal32 rest = cut(output, settled, output.getNumSamples() - settled);
            const auto energyOf = [](const Signal32& signal)
            {
                const float* const samples = signal.getReadChannelPtr(0);
                return std::inner_product(samples, samples + signal.getNumSamples(), samples, 0.0);
            };
            // Measured: 33 dB in normal mode, 42 in aggressive mode, a little less with drift.
            EXPECT_LT(energyOf(rest), energyOf(cut(hum, settled, rest.getNumSamples())) * 0.001);
            EXPECT_EQ(std::count(output.getReadChannelPtr(1),
                                 output.getReadChannelPtr(1) + output.getNumSamples(), 0.0F),
                      output.getNumSamples());
        }
}
