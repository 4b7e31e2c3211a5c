// How long the plug-in takes for a callback, as a share of the time that a host has for it:
// kalim_worst_callback [SECONDS [PICTURE.png]]

#include "benchmarks/CallbackPlot.h"
#include "benchmarks/CallbackRuns.h"
#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <map>
#include <vector>

namespace
{

using benchmarks::CallbackCosts;
using orvo::audio::Kalimmer;

constexpr double sampleRate = 48000.0;

struct Setup
{
    int numFrames;
    int numChannels;
    int numHarmonics;
    bool isAggressive;
};

/// The plug-in as a host has it, with one block after the other.
CallbackCosts measure(const Setup& setup, const benchmarks::Sound& sound, double seconds)
{
    KalimAudioProcessor plugIn;
    const auto channels = juce::AudioChannelSet::canonicalChannelSet(setup.numChannels);
    plugIn.setBusesLayout({{channels}, {channels}});
    auto& engine = *plugIn.getBaseProcessor();
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, static_cast<float>(setup.numHarmonics),
                             false);
    engine.setParameterValue(Kalimmer::AggressiveMode, setup.isAggressive ? 1.0F : 0.0F, false);
    plugIn.prepareToPlay(sampleRate, setup.numFrames);
    juce::MidiBuffer midi;
    return benchmarks::measureCallbacks(sound, sampleRate, setup.numFrames, seconds,
                                        [&](float* const* block)
                                        {
                                            juce::AudioBuffer<float> buffer(
                                                block, setup.numChannels, setup.numFrames);
                                            plugIn.processBlock(buffer, midi);
                                        });
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
    const bool isAhead = benchmarks::runAheadOfOthers();
    fmt::print("{} s per line at 48 kHz, {} times the same, {} real-time priority; shares of the "
               "deadline in %\n\n"
               "| mode | harmonics | channels | frames | deadline | median | 99.9 % | maximum of "
               "the work | maximum with interruptions | heap calls |\n"
               "|---|---|---|---|---|---|---|---|---|---|\n",
               seconds, benchmarks::numRuns, isAhead ? "with" : "without");
    benchmarks::CallbackPlot plot;
    std::map<int, benchmarks::Sound> sounds;
    for (const int numChannels : {1, 2, 8})
        sounds[numChannels] = benchmarks::makeHum(numChannels, sampleRate);
    for (const Setup& setup : makeSetups())
    {
        const auto [work, longest] = benchmarks::measureRepeatedly(
            [&] { return measure(setup, sounds[setup.numChannels], seconds); });
        fmt::print("| {} | {} | {} | {} | {:.2f} ms | {:.1f} | {:.1f} | {:.1f} | {:.1f} | {} |\n",
                   setup.isAggressive ? "aggressive" : "normal", setup.numHarmonics,
                   setup.numChannels, setup.numFrames, 1000.0 * work.getDeadline(),
                   100.0 * work.getShare(0.5), 100.0 * work.getShare(0.999),
                   100.0 * work.getShare(1.0), 100.0 * longest, work.getNumHeapCalls());
        std::fflush(stdout);
        if (setup.numHarmonics == 96 && setup.numChannels == 2)
            plot.add({setup.numFrames, setup.isAggressive, work.getShare(0.5), work.getShare(1.0),
                      longest});
    }
    fmt::print(
        "\nThe machine alone, with a loop that only reads the clock for {} s: interrupted for "
        "up to {:.2f} ms.\n",
        seconds, 1000.0 * benchmarks::findLongestInterruption(seconds));
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
