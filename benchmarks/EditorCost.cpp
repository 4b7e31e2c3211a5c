// What the open editor costs, as process time per second: kalim_editor_cost [SECONDS]. Needs a
// screen.

#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <fmt/format.h>

#include <sys/resource.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <stop_token>
#include <thread>

namespace
{

using orvo::audio::Kalimmer;

constexpr double sampleRate = 48000.0;
constexpr int blockSize = 512;

double getProcessSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time)
    { return static_cast<double>(time.tv_sec) + 1.0e-6 * static_cast<double>(time.tv_usec); };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Hum and noise through the plug-in at the pace of a sound card.
void play(KalimAudioProcessor& plugIn, const std::stop_token& stop)
{
    using Clock = std::chrono::steady_clock;
    juce::AudioBuffer<float> block(2, blockSize);
    juce::MidiBuffer midi;
    juce::Random random(1);
    double phase = 0.0;
    auto next = Clock::now();
    while (!stop.stop_requested())
    {
        for (int n = 0; n < blockSize; ++n)
        {
            phase += 2.0 * 3.14159265358979 * 50.0 / sampleRate;
            for (int channel = 0; channel < 2; ++channel)
                block.setSample(
                    channel, n,
                    static_cast<float>(0.1 * std::sin(phase) + 0.05 * std::sin(3.0 * phase)) +
                        0.02F * (random.nextFloat() - 0.5F));
        }
        plugIn.processBlock(block, midi);
        next += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(blockSize / sampleRate));
        std::this_thread::sleep_until(next);
    }
}

/// Process time per second while the message thread runs for some seconds.
double measure(double seconds)
{
    const double before = getProcessSeconds();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(static_cast<int>(1000.0 * seconds));
    return (getProcessSeconds() - before) / seconds;
}

void run(double seconds)
{
    KalimAudioProcessor plugIn;
    plugIn.getBaseProcessor()->setParameterValue(Kalimmer::NumberOfHarmonics, 96.0F, false);
    plugIn.prepareToPlay(sampleRate, blockSize);
    const std::jthread audio([&](const std::stop_token& stop) { play(plugIn, stop); });
    measure(1.0);
    const double closed = measure(seconds);
    fmt::print("editor closed: {:.1f} % of a core\n", 100.0 * closed);
    for (const auto& [width, height] : {std::pair{680, 424}, {1920, 1040}})
        for (const auto theme : {BasePluginEditor::simplisticDark, BasePluginEditor::brushedSteel})
        {
            KalimAudioProcessorEditor editor(&plugIn);
            editor.setTheme(theme);
            editor.setSize(width, height);
            editor.addToDesktop(juce::ComponentPeer::windowHasTitleBar);
            editor.setVisible(true);
            measure(1.0);
            fmt::print("editor open at {} x {}, {} theme: {:.1f} % more\n", width, height,
                       theme == BasePluginEditor::brushedSteel ? "steel" : "dark",
                       100.0 * (measure(seconds) - closed));
        }
}

} // namespace

int main(int numArguments, char** arguments)
{
    const double seconds = numArguments > 1 ? std::atof(arguments[1]) : 10.0;
    if (numArguments > 2 || !(seconds > 0.0))
    {
        std::fputs("usage: kalim_editor_cost [SECONDS]\n", stderr);
        return 2;
    }
    const juce::ScopedJuceInitialiser_GUI framework;
    run(seconds);
    return 0;
}
