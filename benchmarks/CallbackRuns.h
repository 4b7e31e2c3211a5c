#pragma once

#include "benchmarks/CallbackCosts.h"
#include "benchmarks/HeapCalls.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <random>
#include <sched.h>
#include <thread>
#include <vector>

namespace benchmarks
{

using Sound = std::vector<std::vector<float>>; // [channel][sample]

/// Runs of the same callbacks, to tell the work from what the machine does beside it.
inline constexpr int numRuns = 3;

/// One second of hum that drifts a little, with 96 harmonics well above some noise: every one of
/// them has to be rendered. To be played again and again.
inline Sound makeHum(int numChannels, double sampleRate)
{
    Sound sound(static_cast<std::size_t>(numChannels));
    std::mt19937 random;
    double phase = 0.0;
    for (int n = 0; n < static_cast<int>(sampleRate); ++n)
    {
        const double frequency = 50.0 + 0.05 * std::sin(2.0 * std::numbers::pi * n / sampleRate);
        phase += 2.0 * std::numbers::pi * frequency / sampleRate;
        double hum = 0.0;
        for (int harmonic = 1; harmonic <= 96; ++harmonic)
            hum += 0.05 / harmonic * std::sin(harmonic * phase);
        for (auto& channel : sound)
        {
            const double noise = static_cast<double>(random()) / 4294967296.0 - 0.5;
            channel.push_back(static_cast<float>(hum + 0.0002 * noise));
        }
    }
    return sound;
}

/// A system takes the processor from a thread of real-time priority that never rests.
class Rests
{
public:
    void afterWork(double seconds)
    {
        worked += seconds;
        if (worked < 0.008)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        worked = 0.0;
    }

private:
    double worked = 0.0;
};

/// Calls `process(channels)` for one block of the sound after the other, in place; without a host,
/// and with no more time between two than a rest needs.
template <typename Process>
CallbackCosts measureCallbacks(const Sound& sound, double sampleRate, int numFrames, double seconds,
                               const Process& process)
{
    CallbackCosts costs(numFrames / sampleRate);
    Sound block(sound.size(), std::vector<float>(static_cast<std::size_t>(numFrames)));
    std::vector<float*> channels;
    for (auto& channel : block)
        channels.push_back(channel.data());
    const int numCallbacks = static_cast<int>(seconds * sampleRate) / numFrames;
    const auto length = static_cast<int>(sound.front().size());
    int position = 0;
    Rests rests;
    for (int call = 0; call < numCallbacks; ++call)
    {
        if (position + numFrames > length)
            position = 0;
        for (std::size_t channel = 0; channel < sound.size(); ++channel)
            std::copy_n(sound[channel].begin() + position, numFrames, block[channel].begin());
        position += numFrames;
        std::chrono::duration<double> taken(0.0);
        std::int64_t heapCalls = 0;
        {
            const HeapCalls heap;
            const auto start = std::chrono::steady_clock::now();
            process(channels.data());
            taken = std::chrono::steady_clock::now() - start;
            heapCalls = heap.getNumCalls();
        }
        costs.add(taken.count(), heapCalls);
        rests.afterWork(taken.count());
    }
    return costs;
}

struct RepeatedCosts
{
    /// Of every callback, the least of all runs.
    CallbackCosts work;

    /// Of all callbacks of all runs.
    double longest;
};

/// Costs of `measure()` in runs that do the very same.
template <typename Measure>
RepeatedCosts measureRepeatedly(const Measure& measure)
{
    CallbackCosts work = measure();
    double longest = work.getShare(1.0);
    for (int run = 1; run < numRuns; ++run)
    {
        const CallbackCosts again = measure();
        longest = std::max(longest, again.getShare(1.0));
        work.keepLesser(again);
    }
    return {work, longest};
}

/// The longest time in seconds for which the machine stopped a loop that only reads the clock: what
/// a maximum holds that is not the work's.
inline double findLongestInterruption(double seconds)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds stretch(8);
    std::chrono::duration<double> longest(0.0);
    std::chrono::duration<double> watched(0.0);
    Rests rests;
    while (watched.count() < seconds)
    {
        const auto start = Clock::now();
        auto previous = start;
        while (previous - start < stretch)
        {
            const auto now = Clock::now();
            longest = std::max<std::chrono::duration<double>>(longest, now - previous);
            previous = now;
        }
        watched += previous - start;
        rests.afterWork(std::chrono::duration<double>(previous - start).count());
    }
    return longest.count();
}

/// As audio threads run where they may; returns whether it was granted.
inline bool runAheadOfOthers()
{
    sched_param priority{};
    priority.sched_priority = 50;
    return sched_setscheduler(0, SCHED_FIFO, &priority) == 0;
}

} // namespace benchmarks
