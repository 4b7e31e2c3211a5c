#pragma once

#include "dsp/signal/SignalQueue.h"
#include "dsp/signal/Signals.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace benchmarks
{

inline constexpr double sampleRate = 48000.0;
inline constexpr int frameLength = 2048;

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

/// That hum in pieces of `length` samples, a divisor of the frame length, that follow one another
/// without end. A piece that only repeats itself would not do: its harmonics are not where they are
/// foreseen, so that nothing would be left to render.
inline std::vector<orvo::audio::Signal32> makePieces(int numChannels, int length)
{
    // After 15 frames 50 Hz are where they were at the first.
    orvo::audio::SignalQueue<orvo::audio::Signal32> hum;
    hum.add(makeHum(numChannels, 15 * frameLength));
    std::vector<orvo::audio::Signal32> pieces;
    while (hum.getNumSamples() > 0)
        pieces.push_back(hum.get(length));
    return pieces;
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
