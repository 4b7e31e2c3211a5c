// How long the plug-in takes for a callback, as a share of the time that a host has for it:
// kalim_worst_callback [SECONDS [PICTURE.png]]

#include "benchmarks/CallbackCosts.h"
#include "benchmarks/CallbackPlot.h"
#include "benchmarks/HeapCalls.h"
#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <numbers>
#include <sched.h>
#include <thread>
#include <vector>

namespace
{

using benchmarks::CallbackCosts;
using benchmarks::HeapCalls;
using orvo::audio::Kalimmer;

constexpr double sampleRate = 48000.0;

/// Runs of the same callbacks, to tell the work from what the machine does beside it.
constexpr int numRuns = 3;

struct Setup
{
    int numFrames;
    int numChannels;
    int numHarmonics;
    bool isAggressive;
};

/// One second of hum that drifts a little, with all harmonics well above some noise: every one of
/// them has to be rendered. To be played again and again.
juce::AudioBuffer<float> makeSound(int numChannels)
{
    juce::AudioBuffer<float> sound(numChannels, static_cast<int>(sampleRate));
    juce::Random random(1);
    double phase = 0.0;
    for (int n = 0; n < sound.getNumSamples(); ++n)
    {
        const double frequency = 50.0 + 0.05 * std::sin(2.0 * std::numbers::pi * n / sampleRate);
        phase += 2.0 * std::numbers::pi * frequency / sampleRate;
        double hum = 0.0;
        for (int harmonic = 1; harmonic <= 96; ++harmonic)
            hum += 0.05 / harmonic * std::sin(harmonic * phase);
        for (int channel = 0; channel < numChannels; ++channel)
            sound.setSample(channel, n,
                            static_cast<float>(hum) + 0.0002F * (random.nextFloat() - 0.5F));
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

/// Without a host around it, one callback soon after the other.
CallbackCosts measure(const Setup& setup, const juce::AudioBuffer<float>& sound, double seconds)
{
    KalimAudioProcessor plugIn;
    const auto channels = juce::AudioChannelSet::canonicalChannelSet(setup.numChannels);
    plugIn.setBusesLayout({{channels}, {channels}});
    auto& engine = *plugIn.getBaseProcessor();
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, static_cast<float>(setup.numHarmonics),
                             false);
    engine.setParameterValue(Kalimmer::AggressiveMode, setup.isAggressive ? 1.0F : 0.0F, false);
    plugIn.prepareToPlay(sampleRate, setup.numFrames);

    CallbackCosts costs(setup.numFrames / sampleRate);
    juce::AudioBuffer<float> block(setup.numChannels, setup.numFrames);
    juce::MidiBuffer midi;
    const int numCallbacks = static_cast<int>(seconds * sampleRate) / setup.numFrames;
    int position = 0;
    Rests rests;
    for (int call = 0; call < numCallbacks; ++call)
    {
        if (position + setup.numFrames > sound.getNumSamples())
            position = 0;
        for (int channel = 0; channel < setup.numChannels; ++channel)
            block.copyFrom(channel, 0, sound, channel, position, setup.numFrames);
        position += setup.numFrames;
        std::chrono::duration<double> taken(0.0);
        std::int64_t heapCalls = 0;
        {
            const HeapCalls heap;
            const auto start = std::chrono::steady_clock::now();
            plugIn.processBlock(block, midi);
            taken = std::chrono::steady_clock::now() - start;
            heapCalls = heap.getNumCalls();
        }
        costs.add(taken.count(), heapCalls);
        rests.afterWork(taken.count());
    }
    return costs;
}

struct Result
{
    /// Of every callback, the least of all runs.
    CallbackCosts work;

    /// Of all callbacks of all runs.
    double longest;
};

Result measureRepeatedly(const Setup& setup, const juce::AudioBuffer<float>& sound, double seconds)
{
    CallbackCosts work = measure(setup, sound, seconds);
    double longest = work.getShare(1.0);
    for (int run = 1; run < numRuns; ++run)
    {
        const CallbackCosts again = measure(setup, sound, seconds);
        longest = std::max(longest, again.getShare(1.0));
        work.keepLesser(again);
    }
    return {work, longest};
}

/// The longest time in seconds for which the machine stopped a loop that only reads the clock: what
/// a maximum holds that is not the plug-in's.
double findLongestInterruption(double seconds)
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
bool runAheadOfOthers()
{
    sched_param priority{};
    priority.sched_priority = 50;
    return sched_setscheduler(0, SCHED_FIFO, &priority) == 0;
}

std::vector<Setup> makeSetups()
{
    std::vector<Setup> setups;
    for (const bool isAggressive : {false, true})
        for (const int numHarmonics : {1, 20, 96})
            for (const int numChannels : {1, 2, 8})
                for (const int numFrames : {32, 64, 128, 512, 2048})
                    setups.push_back({numFrames, numChannels, numHarmonics, isAggressive});
    return setups;
}

void run(double seconds, const char* picture)
{
    const bool isAhead = runAheadOfOthers();
    fmt::print("{} s per line at 48 kHz, {} times the same, {} real-time priority; shares of the "
               "deadline in %\n\n"
               "| mode | harmonics | channels | frames | deadline | median | 99.9 % | maximum of "
               "the work | maximum with interruptions | heap calls |\n"
               "|---|---|---|---|---|---|---|---|---|---|\n",
               seconds, numRuns, isAhead ? "with" : "without");
    benchmarks::CallbackPlot plot;
    std::map<int, juce::AudioBuffer<float>> sounds;
    for (const int numChannels : {1, 2, 8})
        sounds[numChannels] = makeSound(numChannels);
    for (const Setup& setup : makeSetups())
    {
        const Result result = measureRepeatedly(setup, sounds[setup.numChannels], seconds);
        const CallbackCosts& work = result.work;
        fmt::print("| {} | {} | {} | {} | {:.2f} ms | {:.1f} | {:.1f} | {:.1f} | {:.1f} | {} |\n",
                   setup.isAggressive ? "aggressive" : "normal", setup.numHarmonics,
                   setup.numChannels, setup.numFrames, 1000.0 * work.getDeadline(),
                   100.0 * work.getShare(0.5), 100.0 * work.getShare(0.999),
                   100.0 * work.getShare(1.0), 100.0 * result.longest, work.getNumHeapCalls());
        std::fflush(stdout);
        if (setup.numHarmonics == 96 && setup.numChannels == 2)
            plot.add({setup.numFrames, setup.isAggressive, work.getShare(0.5), work.getShare(1.0),
                      result.longest});
    }
    fmt::print(
        "\nThe machine alone, with a loop that only reads the clock for {} s: interrupted for "
        "up to {:.2f} ms.\n",
        seconds, 1000.0 * findLongestInterruption(seconds));
    if (picture != nullptr)
        plot.write(picture);
}

} // namespace

int main(int numArguments, char** arguments)
{
    const double seconds = numArguments > 1 ? std::atof(arguments[1]) : 60.0;
    if (numArguments > 3 || !(seconds > 0.0))
    {
        std::fputs("usage: kalim_worst_callback [SECONDS [PICTURE.png]]\n", stderr);
        return 2;
    }
    const juce::ScopedJuceInitialiser_GUI framework;
    try
    {
        run(seconds, numArguments > 2 ? arguments[2] : nullptr);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "kalim_worst_callback: %s\n", error.what());
        return 1;
    }
    return 0;
}
