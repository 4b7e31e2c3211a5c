#include "dsp/precise/LiveRemover.h"

#include "tests/support/Heap.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

using namespace testing_support;
using orvo::audio::precise::LiveRemover;

namespace
{

constexpr double liveRate = 48000.0;

/// Of high rates frames are read from a low-passed copy.
constexpr double highRate = 192000.0;

Signal32 run(LiveRemover& remover, Signal32 signal, const std::vector<int>& blockSizes = {512})
{
    const int last = signal.getNumChannels() - 1;
    std::size_t block = 0;
    for (int done = 0; done < signal.getNumSamples();)
    {
        const int size = blockSizes[block++ % blockSizes.size()];
        const int count = std::min(size, signal.getNumSamples() - done);
        float* const channels[] = {signal.getWriteChannelPtr(0) + done,
                                   signal.getWriteChannelPtr(last) + done};
        remover.process(channels, count);
        done += count;
    }
    return signal;
}

Signal32 clean(const Signal32& signal, const LiveRemover::Settings& settings = {},
               const std::vector<int>& blockSizes = {512}, double rate = liveRate)
{
    LiveRemover remover;
    remover.prepare(rate, signal.getNumChannels(), settings);
    return run(remover, signal, blockSizes);
}

double getLevelDb(const Signal32& signal, int channel)
{
    const float* const x = signal.getReadChannelPtr(channel);
    const int count = signal.getNumSamples();
    return 10.0 * std::log10(std::inner_product(x, x + count, x, 1e-20) / count);
}

Signal32 makeMixture(double seconds, int numChannels = 2, double rate = liveRate)
{
    const Hum hum = {.startFrequency = 50.03, .endFrequency = 50.02};
    return mix(makeHum(hum, rate, seconds, numChannels),
               makeNoise(-50.0, rate, seconds, numChannels));
}

} // namespace

TEST(LiveRemover, removesSteadyHumOfTwoPatterns)
{
    for (const auto& [rate, lookAhead] :
         {std::pair{liveRate, 0.0}, {liveRate, 0.05}, {liveRate, 0.2}, {highRate, 0.0}})
    {
        const auto hum = makeHum({.startFrequency = 59.97, .endFrequency = 59.98}, rate, 4.0, 2);
        const auto noise = makeNoise(-50.0, rate, 4.0, 2);
        const auto latency = static_cast<int>(lookAhead * rate);
        const auto output =
            clean(mix(hum, noise), {.fundamental = 60.0, .lookAhead = lookAhead}, {512}, rate);
        const auto start = static_cast<int>(2.0 * rate);
        const auto count = static_cast<int>(1.5 * rate);
        const auto rest = difference(cut(output, start + latency, count), cut(noise, start, count));
        for (int channel : {0, 1})
            EXPECT_LT(getLevelDb(rest, channel), getLevelDb(hum, channel) - 35.0)
                << lookAhead << " s at " << rate;
    }
}

TEST(LiveRemover, doesNotDependOnBlocks)
{
    std::mt19937 generator(7);
    std::vector<int> random(100);
    std::generate(random.begin(), random.end(),
                  [&] { return 1 + static_cast<int>(generator() % 3000); });
    for (const auto& [rate, lookAhead] :
         {std::pair{liveRate, 0.0}, {liveRate, 0.2}, {highRate, 0.0}})
    {
        const auto mixture = makeMixture(1.5, 2, rate);
        const auto expected = clean(mixture, {.lookAhead = lookAhead}, {512}, rate);
        EXPECT_FALSE(areIdentical(expected, mixture));
        for (const auto& sizes : {std::vector{1}, {7}, {64}, {441}, {4096}, random})
            EXPECT_TRUE(
                areIdentical(clean(mixture, {.lookAhead = lookAhead}, sizes, rate), expected));
    }
}

TEST(LiveRemover, delaysSoundWithoutHumAndNothingElse)
{
    const auto sound =
        mix(makeNoise(-30.0, liveRate, 3.0, 2), makeTone(440.0, 0.1, liveRate, 3.0, 2));
    for (const double lookAhead : {0.0, 0.05, 0.2})
    {
        LiveRemover remover;
        remover.prepare(liveRate, 2, {.lookAhead = lookAhead});
        const int latency = static_cast<int>(std::lround(lookAhead * liveRate));
        EXPECT_EQ(remover.getLatency(), latency);
        const auto output = run(remover, sound);
        EXPECT_EQ(remover.getFundamental(), 0.0);
        const int count = sound.getNumSamples() - latency;
        EXPECT_TRUE(areIdentical(cut(output, latency, count), cut(sound, 0, count)));
    }
}

TEST(LiveRemover, leavesTheHeapAlone)
{
    LiveRemover remover;
    remover.prepare(liveRate, 1, {.lookAhead = 0.2});
    auto mixture = makeMixture(3.0, 1);
    float* const channel = mixture.getWriteChannelPtr(0);
    const HeapCount heap;
    remover.process(&channel, mixture.getNumSamples());
    EXPECT_EQ(heap.getNumCalls(), 0);
    EXPECT_NEAR(remover.getFundamental(), 50.02, 0.01);
}

TEST(LiveRemover, survivesWhatIsNoNumber)
{
    for (const double rate : {liveRate, highRate})
    {
        auto mixture = makeMixture(4.0, 1, rate);
        const auto at = static_cast<int>(1.25 * rate);
        mixture.getWriteChannelPtr(0)[at] = std::nanf("");
        mixture.getWriteChannelPtr(0)[at + 1] = INFINITY;
        const auto output = clean(mixture, {}, {512}, rate);
        EXPECT_TRUE(std::isnan(output.getReadChannelPtr(0)[at]));
        const auto count = static_cast<int>(2.7 * rate);
        EXPECT_LT(getLevelDb(cut(output, at + 2, count), 0), -45.0) << rate;
    }
}

TEST(LiveRemover, isSilentInSilenceAndPlaysWhatIsRemoved)
{
    auto mixture = makeMixture(3.0, 1);
    std::fill_n(mixture.getWriteChannelPtr(0) + 96000, 48000, 0.0F);
    EXPECT_EQ(peakOf(cut(clean(mixture), 96100, 47900)), 0.0F);
    const auto removed = clean(mixture, {.strength = 0.5, .residual = true});
    EXPECT_TRUE(areIdentical(difference(mixture, removed), clean(mixture, {.strength = 0.5})));
}

TEST(LiveRemover, worksAtTheLimits)
{
    LiveRemover remover;
    for (const auto& [rate, fundamental] : {std::pair{8000.0, 400.0}, {384000.0, 16.0}})
    {
        remover.prepare(rate, 1, {.fundamental = fundamental, .lookAhead = 0.2});
        const auto hum = makeHum({fundamental, fundamental, 5}, rate, 2.0);
        const int count = hum.getNumSamples() / 4;
        EXPECT_LT(getLevelDb(cut(run(remover, hum), 3 * count, count), 0), -66.0);
    }
    EXPECT_THROW(remover.prepare(4000.0, 1, {}), std::invalid_argument);
    EXPECT_THROW(remover.prepare(liveRate, 9, {}), std::invalid_argument);
}
