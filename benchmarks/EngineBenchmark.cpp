#include "dsp/hum/Kalimmer.h"
#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/TrackerBank.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace
{

using namespace orvo::audio;

constexpr double sampleRate = 48000.0;
constexpr int frameLength = 2048;

Signal32 makeHum(int numChannels, int length)
{
    Signal32 hum(numChannels, length, 0.0F);
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < length; ++n)
            for (int h = 1; h <= 96; ++h)
                hum.getWriteChannelPtr(channel)[n] += static_cast<float>(
                    0.05 / h * std::cos(h * n * 6.283185307 * 50.0 / sampleRate + h));
    return hum;
}

/// Shows the time per harmonic, channel and sample, which makes all runs comparable.
void countWork(benchmark::State& state, std::int64_t harmonics, std::int64_t channels,
               std::int64_t samples)
{
    state.counters["per_hcs"] =
        benchmark::Counter(static_cast<double>(state.iterations() * harmonics * channels * samples),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// One frame through all trackers together.
void trackerBank(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    const Signal32 frame = makeHum(channels, frameLength);
    TrackerBank bank;
    bank.setFormat(channels, sampleRate, frameLength);
    Signal32 output(channels, frameLength);
    for (auto _ : state)
    {
        bank.subtractHarmonics(frame, output, 50.0F, {harmonics, false});
        benchmark::DoNotOptimize(output.getWriteChannelPtr(0));
    }
    countWork(state, harmonics, channels, frameLength);
}

/// The same, one tracker after the other by its own readable operations.
void trackersOneByOne(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    const Signal32 frame = makeHum(channels, frameLength);
    std::vector<SinusoidalSynthesis> trackers(static_cast<std::size_t>(harmonics));
    for (SinusoidalSynthesis& tracker : trackers)
    {
        tracker.setFormat(channels, sampleRate);
        tracker.generateSignal(frame, 50.0F, 1); // past the priming
    }
    for (auto _ : state)
        for (int index = 0; index < harmonics; ++index)
            benchmark::DoNotOptimize(
                trackers[static_cast<std::size_t>(index)].generateSignal(frame, 50.0F, index + 1));
    countWork(state, harmonics, channels, frameLength);
}

void notchCascade(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    const auto length = static_cast<int>(state.range(2));
    const Signal32 frame = makeHum(channels, length);
    NotchCascade cascade;
    cascade.setFormat(channels, sampleRate);
    for (auto _ : state)
    {
        Signal32 samples = frame;
        cascade.process(samples, 50.0F, {harmonics, false});
        benchmark::DoNotOptimize(samples.getReadChannelPtr(0));
    }
    countWork(state, harmonics, channels, length);
}

/// The whole engine, analysis and queues included, in blocks of 512 samples.
void engine(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    Kalimmer remover;
    AudioFormat format;
    format.createDefaultChannelMapping(channels);
    format.sampleRate = sampleRate;
    remover.setFormat(format, format);
    remover.setParameterValue(Kalimmer::NumberOfHarmonics, static_cast<float>(harmonics), false);
    remover.setParameterValue(Kalimmer::AggressiveMode, static_cast<float>(state.range(2)), false);
    const Signal32 block = makeHum(channels, 512);
    for (auto _ : state)
        benchmark::DoNotOptimize(remover.process(block, false));
    countWork(state, harmonics, channels, 512);
}

BENCHMARK(trackerBank)->ArgsProduct({{1, 8, 20, 96}, {1, 2}})->ArgNames({"harmonics", "channels"});
BENCHMARK(trackersOneByOne)->Args({20, 1})->Args({96, 2})->ArgNames({"harmonics", "channels"});
BENCHMARK(notchCascade)
    ->ArgsProduct({{1, 16, 96}, {2}, {64, 2048}})
    ->ArgNames({"harmonics", "channels", "samples"});
BENCHMARK(engine)
    ->ArgsProduct({{1, 20, 96}, {2}, {0, 1}})
    ->ArgNames({"harmonics", "channels", "aggressive"});

} // namespace
