#pragma once

#include "dsp/signal/Signals.h"
#include "dsp/signal/VectorOperations.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace benchmarks
{

inline constexpr double sampleRate = 48000.0;
inline constexpr int frameLength = 2048;

/// Frames after which 50 Hz are where they were at the first.
inline constexpr int framesPerCycle = 15;

/// 96 harmonics of 50 Hz that fall off, alike in all channels.
inline orvo::audio::Signal32 makeHum(int numChannels, int length)
{
    orvo::audio::Signal32 hum(numChannels, length, 0.0F);
    for (int n = 0; n < length; ++n)
    {
        double sample = 0.0;
        for (int h = 1; h <= 96; ++h)
            sample += 0.05 / h * std::cos(h * n * 6.283185307179586 * 50.0 / sampleRate + h);
        for (int channel = 0; channel < numChannels; ++channel)
            hum.getWriteChannelPtr(channel)[n] = static_cast<float>(sample);
    }
    return hum;
}

/// Frames that follow one another without end. A frame that only repeats itself would not do: its
/// harmonics are not where they are foreseen, so that nothing would be left to render.
inline std::vector<orvo::audio::Signal32> makeFrames(int numChannels)
{
    const orvo::audio::Signal32 hum = makeHum(numChannels, framesPerCycle * frameLength);
    std::vector<orvo::audio::Signal32> frames;
    for (int frame = 0; frame < framesPerCycle; ++frame)
    {
        frames.emplace_back(numChannels, frameLength);
        for (int channel = 0; channel < numChannels; ++channel)
            orvo::vo::copy(hum.getReadChannelPtr(channel) + frame * frameLength,
                           frames.back().getWriteChannelPtr(channel), frameLength);
    }
    return frames;
}

/// Shows the time per harmonic, channel and sample, which makes all runs comparable.
inline void countWork(benchmark::State& state, std::int64_t harmonics, std::int64_t channels,
                      std::int64_t samples)
{
    state.counters["per_hcs"] =
        benchmark::Counter(static_cast<double>(state.iterations() * harmonics * channels * samples),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace benchmarks
