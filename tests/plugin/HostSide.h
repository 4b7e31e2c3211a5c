#pragma once

#include "plugin/KalimAudioProcessor.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

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
    std::vector<float*> channels;
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        channels.push_back(signal.getWriteChannelPtr(channel));
    int start = 0;
    for (std::size_t call = 0; call == 0 || start < signal.getNumSamples(); ++call)
    {
        const int count =
            std::min(blockSizes[call % blockSizes.size()], signal.getNumSamples() - start);
        juce::AudioBuffer<float> block(channels.data(), signal.getNumChannels(), start, count);
        if (isBypassed)
            plugIn.processBlockBypassed(block, midi);
        else
            plugIn.processBlock(block, midi);
        start += count;
    }
    return signal;
}

/// Makes a plug-in ready to play. Returns the latency that it reports.
inline int prepare(juce::AudioProcessor& plugIn, const juce::AudioChannelSet& channels,
                   double sampleRate = 48000.0, int largestBlock = 512)
{
    EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
    plugIn.prepareToPlay(sampleRate, largestBlock);
    return plugIn.getLatencySamples();
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

/// Notes down whom a plug-in tells of which parameters; lives as long as that.
struct Witness : juce::AudioProcessorListener, BasePlugInProcessor::Listener
{
    explicit Witness(KalimAudioProcessor& plugIn)
    {
        plugIn.addListener(static_cast<juce::AudioProcessorListener*>(this));
        plugIn.addListener(static_cast<BasePlugInProcessor::Listener*>(this));
    }

    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value) override
    {
        host.emplace_back(index, value);
    }

    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

    void parameterChanged(int index) override { editor.push_back(index); }

    std::vector<std::pair<int, float>> host;
    std::vector<int> editor;
};

/// A folder for every test, removed at the end.
class ScratchFiles : public ::testing::Test
{
protected:
    ScratchFiles() { EXPECT_TRUE(folder.createDirectory()); }

    ~ScratchFiles() override { folder.deleteRecursively(); }

    /// Writes a file, with the folders that it is in.
    juce::File write(const juce::String& name, const juce::String& text) const
    {
        const juce::File file = folder.getChildFile(name);
        EXPECT_TRUE(file.create());
        EXPECT_TRUE(file.replaceWithText(text));
        return file;
    }

    juce::File folder = juce::File::createTempFile("kalim");
};

} // namespace testing_support
