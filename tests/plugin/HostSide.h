#pragma once

#include "plugin/KalimAudioProcessor.h"
#include "tests/support/TestSignals.h"

#include <algorithm>
#include <utility>
#include <vector>

/// What hosts do with a plug-in, and what they hear from it.
namespace testing_support
{

/// What a prepared plug-in makes of a signal, in blocks of these sizes, taken in turn. An empty
/// signal is one empty block.
inline Signal32 play(juce::AudioProcessor& plugIn, Signal32 signal,
                     const std::vector<int>& blockSizes, bool isBypassed = false)
{
    juce::MidiBuffer midi;
    std::size_t call = 0;
    int start = 0;
    do
    {
        const int count =
            std::min(blockSizes[call++ % blockSizes.size()], signal.getNumSamples() - start);
        std::vector<float*> channels;
        for (int channel = 0; channel < signal.getNumChannels(); ++channel)
            channels.push_back(signal.getWriteChannelPtr(channel) + start);
        juce::AudioBuffer<float> block(channels.data(), signal.getNumChannels(), count);
        if (isBypassed)
            plugIn.processBlockBypassed(block, midi);
        else
            plugIn.processBlock(block, midi);
        start += count;
    } while (start < signal.getNumSamples());
    return signal;
}

/// 1, 2, 3, ... through one channel after the other.
inline Signal32 makeRamp(int numChannels, int numSamples)
{
    return makeSignal(numChannels, numSamples,
                      [&](int channel, int n) { return channel * numSamples + n + 1; });
}

/// Whether the output is the input, late by `delay` samples and silent before.
inline bool isDelayed(const Signal32& output, const Signal32& input, int delay)
{
    const int count = input.getNumSamples() - delay;
    return areIdentical(cut(output, delay, count), cut(input, 0, count)) &&
           peakOf(cut(output, 0, delay)) == 0.0F;
}

inline std::vector<float> valuesOf(KalimAudioProcessor& plugIn)
{
    std::vector<float> values;
    for (int id = 0; id < 7; ++id)
        values.push_back(plugIn.getBaseProcessor()->getParameterValue(id));
    return values;
}

/// Notes down whom a plug-in tells of which parameters, while it lives.
class Witness : juce::AudioProcessorListener,
                BasePlugInProcessor::Listener,
                orvo::audio::BaseAudioProcessor::Listener
{
public:
    explicit Witness(KalimAudioProcessor& watched)
        : plugIn(watched)
    {
        plugIn.addListener(static_cast<juce::AudioProcessorListener*>(this));
        plugIn.addListener(static_cast<BasePlugInProcessor::Listener*>(this));
        plugIn.getBaseProcessor()->addListener(this);
    }

    ~Witness() override
    {
        plugIn.getBaseProcessor()->removeListener(this);
        plugIn.removeListener(static_cast<BasePlugInProcessor::Listener*>(this));
        plugIn.removeListener(static_cast<juce::AudioProcessorListener*>(this));
    }

    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    std::vector<std::pair<int, float>> host;
    std::vector<int> editor;
    std::vector<int> engine;

private:
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value) override
    {
        host.emplace_back(index, value);
    }

    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

    void parameterChanged(int index) override { editor.push_back(index); }

    void parameterChanged(int index, float) override { engine.push_back(index); }

    void stateLoaded() override {}

    void formatChanged(const orvo::audio::AudioFormat&, const orvo::audio::AudioFormat&) override {}

    KalimAudioProcessor& plugIn;
};

} // namespace testing_support
