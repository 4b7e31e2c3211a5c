#include "benchmarks/Work.h"
#include "dsp/hum/Kalimmer.h"
#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/TrackerBank.h"
#include "dsp/signal/VectorKernels.h"

#include <hwy/targets.h>

#include <string>
#include <vector>

namespace
{

using namespace benchmarks;
using namespace orvo::audio;

std::vector<float*> getPointers(Signal32& signal)
{
    std::vector<float*> pointers;
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        pointers.push_back(signal.getWriteChannelPtr(channel));
    return pointers;
}

void copyInto(const std::vector<float*>& pointers, const Signal32& signal)
{
    for (std::size_t channel = 0; channel < pointers.size(); ++channel)
        orvo::vo::copy(signal.getReadChannelPtr(static_cast<int>(channel)), pointers[channel],
                       signal.getNumSamples());
}

/// One frame through all trackers together.
void trackerBank(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    const std::vector<Signal32> frames = makePieces(channels, frameLength);
    TrackerBank bank;
    bank.setFormat(channels, sampleRate, frameLength);
    Signal32 output(channels, frameLength);
    const std::vector<float*> samples = getPointers(output);
    std::size_t frame = 0;
    for (auto _ : state)
    {
        copyInto(samples, frames[frame++ % frames.size()]);
        bank.subtractHarmonics(samples, 50.0F, {harmonics, false});
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, channels, frameLength);
}

/// The same, one tracker after the other by its own readable operations.
void trackersOneByOne(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    const std::vector<Signal32> frames = makePieces(channels, frameLength);
    std::vector<SinusoidalSynthesis> trackers(static_cast<std::size_t>(harmonics));
    for (SinusoidalSynthesis& tracker : trackers)
    {
        tracker.setFormat(channels, sampleRate);
        tracker.generateSignal(frames.back(), 50.0F, 1); // past the priming
    }
    std::size_t frame = 0;
    for (auto _ : state)
    {
        for (int index = 0; index < harmonics; ++index)
            benchmark::DoNotOptimize(trackers[static_cast<std::size_t>(index)].generateSignal(
                frames[frame % frames.size()], 50.0F, index + 1));
        ++frame;
    }
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
    Signal32 output(channels, length);
    const std::vector<float*> samples = getPointers(output);
    for (auto _ : state)
    {
        copyInto(samples, frame);
        cascade.process(samples, length, 50.0F, {harmonics, false});
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, channels, length);
}

/// The whole engine, analysis and queues included, in host blocks of 512 samples.
void engine(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    const auto channels = static_cast<int>(state.range(1));
    Kalimmer kalimmer;
    AudioFormat format;
    format.createDefaultChannelMapping(channels);
    format.sampleRate = sampleRate;
    kalimmer.setFormat(format, format);
    kalimmer.setParameterValue(Kalimmer::NumberOfHarmonics, static_cast<float>(harmonics), false);
    kalimmer.setParameterValue(Kalimmer::AggressiveMode, static_cast<float>(state.range(2)), false);
    constexpr int length = 512;
    const std::vector<Signal32> blocks = makePieces(channels, length);
    std::size_t block = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(kalimmer.process(blocks[block++ % blocks.size()], false));
    countWork(state, harmonics, channels, length);
}

BENCHMARK(trackerBank)
    ->ArgsProduct({{1, 8, 24, 48, 96}, {1, 2, 4, 8}})
    ->ArgNames({"harmonics", "channels"});
BENCHMARK(trackersOneByOne)->Args({20, 1})->Args({96, 2})->ArgNames({"harmonics", "channels"});
BENCHMARK(notchCascade)
    ->ArgsProduct({{1, 16, 48, 96}, {1, 2, 8}, {64, 2048}})
    ->ArgNames({"harmonics", "channels", "samples"});
BENCHMARK(engine)
    ->ArgsProduct({{1, 20, 96}, {2}, {0, 1}})
    ->ArgNames({"harmonics", "channels", "aggressive"});

/// Both modes again with every instruction set that is built in and that this processor has.
bool compareInstructionSets()
{
    const auto use = [](std::int64_t set)
    {
        hwy::SetSupportedTargetsForTest(set);
        return std::string(orvo::vo::chooseInstructionSet());
    };
    const auto add = [use](const std::string& name, std::int64_t set, auto run)
    {
        return benchmark::RegisterBenchmark(name.c_str(),
                                            [=](benchmark::State& state)
                                            {
                                                use(set);
                                                run(state);
                                                use(0);
                                            });
    };
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1)
    {
        const std::int64_t set = rest & -rest;
        const std::string name = hwy::TargetName(set);
        if (use(set) != name)
            continue;
        add("trackerBank/" + name, set, trackerBank)->Args({96, 2});
        add("notchCascade/" + name, set, notchCascade)->Args({96, 2, frameLength});
    }
    use(0);
    return true;
}

[[maybe_unused]] const bool hasInstructionSets = compareInstructionSets();

} // namespace
