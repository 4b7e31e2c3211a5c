#include "benchmarks/Work.h"
#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/TrackerKernels.h"
#include "dsp/signal/FourierTransform.h"
#include "dsp/signal/IirFilter64.h"
#include "dsp/signal/VectorOperations.h"

#include <complex>
#include <numbers>
#include <vector>

namespace
{

using namespace benchmarks;
using namespace orvo::audio;

std::size_t count(int number)
{
    return static_cast<std::size_t>(number);
}

IirFilter64 makeBandPass(int harmonic, double quality, int numChannels = 1)
{
    IirFilter64 filter;
    filter.setSection(numChannels,
                      IirCoefficients::designBandPass(50.0 * harmonic, quality, sampleRate));
    return filter;
}

/// Band-passes for all harmonics in groups of `lanes`.
template <typename Group, std::size_t lanes>
std::vector<Group> makeGroups(int harmonics, double quality)
{
    std::vector<Group> groups((count(harmonics) + lanes - 1) / lanes);
    for (std::size_t index = 0; index < count(harmonics); ++index)
    {
        const NormalisedSection section =
            makeBandPass(static_cast<int>(index) + 1, quality).getSection();
        Group& group = groups[index / lanes];
        group.b0[index % lanes] = section.b0;
        group.a1[index % lanes] = section.a1;
        group.a2[index % lanes] = section.a2;
    }
    return groups;
}

std::vector<kernels::TrackerGroup> makeTrackers(int harmonics)
{
    constexpr std::size_t lanes = kernels::lanesPerGroup;
    auto groups =
        makeGroups<kernels::TrackerGroup, lanes>(harmonics, SinusoidalSynthesis::isolationQ);
    for (std::size_t index = 0; index < count(harmonics); ++index)
    {
        const double w =
            2.0 * std::numbers::pi * 50.0 * static_cast<double>(index + 1) / sampleRate;
        groups[index / lanes].coefficient[index % lanes] = 2.0 * std::cos(w);
        groups[index / lanes].transformLength[index % lanes] = 1920.0;
    }
    return groups;
}

/// Band-passes and single-bin transforms, harmonics as lanes.
void isolateAndTransform(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    auto groups = makeTrackers(harmonics);
    const Signal64 input = makeHum(1, frameLength).toSignal64();
    for (auto _ : state)
    {
        kernels::isolateAndTransform(groups, input.getReadChannelPtr(0), frameLength);
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, 1, frameLength);
}

/// One pass of the priming, which a closed form extends to all passes.
void isolate(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    auto groups = makeTrackers(harmonics);
    const Signal64 input = makeHum(1, 960).toSignal64();
    for (auto _ : state)
    {
        kernels::isolate(groups, input.getReadChannelPtr(0), 960);
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, 1, 960);
}

/// Synthesis and subtraction, time as lanes.
void subtractOscillations(benchmark::State& state)
{
    const auto harmonics = static_cast<int>(state.range(0));
    std::vector<SinusoidalSynthesis::Oscillation> oscillations;
    for (int index = 0; index < harmonics; ++index)
        oscillations.push_back(
            {0.1 * index, 2.0 * std::numbers::pi * 50.0 * (index + 1) / sampleRate, 0.01F, 0.0F});
    Signal32 crossfade(1, frameLength);
    for (int n = 0; n < frameLength; ++n)
        crossfade.getWriteChannelPtr(0)[n] = SinusoidalSynthesis::crossfade(n, frameLength);
    const Signal32 frame = makeHum(1, frameLength);
    Signal32 output(1, frameLength);
    for (auto _ : state)
    {
        orvo::vo::copy(frame.getReadChannelPtr(0), output.getWriteChannelPtr(0), frameLength);
        kernels::subtractOscillations(oscillations, crossfade.getReadChannelPtr(0),
                                      output.getWriteChannelPtr(0), frameLength);
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, 1, frameLength);
}

/// The notch cascade's wave front alone, with all stages of all groups in use.
void runNotches(benchmark::State& state)
{
    constexpr int harmonics = 96;
    const auto numChannels = static_cast<int>(state.range(0));
    const auto length = static_cast<int>(state.range(1));
    auto groups =
        makeGroups<kernels::NotchGroup, kernels::stagesPerGroup>(harmonics, NotchCascade::notchQ);
    for (kernels::NotchGroup& group : groups)
        group.numStages = kernels::stagesPerGroup;
    std::vector<kernels::NotchState> states(groups.size() * count(numChannels));
    const Signal32 frame = makeHum(numChannels, length);
    Signal32 samples(numChannels, length);
    std::vector<kernels::NotchChannel> channels;
    for (int channel = 0; channel < numChannels; ++channel)
        channels.push_back(
            {samples.getWriteChannelPtr(channel), states.data() + count(channel) * groups.size()});
    for (auto _ : state)
    {
        for (int channel = 0; channel < numChannels; ++channel)
            orvo::vo::copy(frame.getReadChannelPtr(channel), channels[count(channel)].samples,
                           length);
        kernels::runNotches(groups, channels, count(length));
        benchmark::ClobberMemory();
    }
    countWork(state, harmonics, numChannels, length);
}

/// What the wave front replaces: filter and subtract, stage after stage.
void notchesOneByOne(benchmark::State& state)
{
    constexpr int harmonics = 96;
    std::vector<IirFilter64> filters;
    for (int index = 0; index < harmonics; ++index)
        filters.push_back(makeBandPass(index + 1, NotchCascade::notchQ, 2));
    const Signal32 frame = makeHum(2, frameLength);
    for (auto _ : state)
    {
        Signal32 samples = frame;
        for (IirFilter64& filter : filters)
        {
            const Signal32 passed = filter.process(samples.toSignal64()).toSignal32();
            for (int channel = 0; channel < 2; ++channel)
                orvo::vo::subtract(passed.getReadChannelPtr(channel),
                                   samples.getReadChannelPtr(channel),
                                   samples.getWriteChannelPtr(channel), frameLength);
        }
        benchmark::DoNotOptimize(samples.getReadChannelPtr(0));
    }
    countWork(state, harmonics, 2, frameLength);
}

void transform(benchmark::State& state)
{
    const auto size = static_cast<int>(state.range(0));
    const Signal32 input = makeHum(1, size);
    ComplexSignal32 bins(1, size / 2 + 1);
    FourierTransform fourier;
    fourier.allocate(size, true);
    for (auto _ : state)
    {
        fourier.forwardReal(input, bins);
        benchmark::ClobberMemory();
    }
}

ComplexSignal32 makeBins(int count)
{
    ComplexSignal32 bins(1, count);
    for (int k = 0; k < count; ++k)
        bins.getWriteChannelPtr(0)[k] =
            std::polar(1.0F + 0.001F * static_cast<float>(k), 0.7F * static_cast<float>(k));
    return bins;
}

template <auto operation>
void onBins(benchmark::State& state)
{
    const auto count = static_cast<int>(state.range(0));
    const ComplexSignal32 bins = makeBins(count);
    Signal32 result(1, count);
    for (auto _ : state)
    {
        operation(bins.getReadChannelPtr(0), result.getWriteChannelPtr(0), count);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(isolateAndTransform)->Arg(8)->Arg(24)->Arg(96)->ArgName("harmonics");
BENCHMARK(isolate)->Arg(96)->ArgName("harmonics");
BENCHMARK(subtractOscillations)->Arg(8)->Arg(24)->Arg(96)->ArgName("harmonics");
BENCHMARK(runNotches)->ArgsProduct({{1, 2}, {64, 2048}})->ArgNames({"channels", "samples"});
BENCHMARK(notchesOneByOne);
BENCHMARK(transform)->Arg(4096)->Arg(16384)->ArgName("points");
BENCHMARK(onBins<orvo::vo::calcMagnitudes>)->Name("magnitudes")->Arg(8193)->ArgName("bins");
BENCHMARK(onBins<orvo::vo::calcPhases>)->Name("phases")->Arg(2049)->ArgName("bins");

} // namespace
