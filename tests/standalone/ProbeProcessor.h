#pragma once

#include <atomic>
#include <juce_audio_processors/juce_audio_processors.h>

/// Halves the sound, and tells what it was driven with.
class ProbeProcessor : public juce::AudioProcessor
{
public:
    ProbeProcessor()
        : juce::AudioProcessor(BusesProperties()
                                   .withInput("In", juce::AudioChannelSet::stereo())
                                   .withOutput("Out", juce::AudioChannelSet::stereo()))
    {
    }

    void prepareToPlay(double hz, int frames) override
    {
        rate = hz;
        maximumFrames = frames;
    }

    void releaseResources() override {}

    void processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer&) override
    {
        const int numFrames = buffer.getNumSamples();
        wasDrivenWell = wasDrivenWell && buffer.getNumChannels() == 2 && numFrames > 0 &&
                        numFrames <= maximumFrames;
        peak = std::max(peak.load(), buffer.getMagnitude(0, numFrames));
        numProcessed += numFrames;
        buffer.applyGain(0.5F);
    }

    using juce::AudioProcessor::processBlock;

    const juce::String getName() const override { return "Probe"; }

    double getTailLengthSeconds() const override { return 0.0; }

    bool acceptsMidi() const override { return false; }

    bool producesMidi() const override { return false; }

    juce::AudioProcessorEditor* createEditor() override { return nullptr; }

    bool hasEditor() const override { return false; }

    int getNumPrograms() override { return 1; }

    int getCurrentProgram() override { return 0; }

    void setCurrentProgram(int) override {}

    const juce::String getProgramName(int) override { return {}; }

    void changeProgramName(int, const juce::String&) override {}

    void getStateInformation(juce::MemoryBlock& destination) override
    {
        destination.replaceAll(state.toRawUTF8(), state.getNumBytesAsUTF8());
    }

    void setStateInformation(const void* data, int size) override
    {
        state = juce::String::fromUTF8(static_cast<const char*>(data), size);
    }

    juce::String state;
    std::atomic<double> rate{0.0};
    std::atomic<int> maximumFrames{0};
    std::atomic<bool> wasDrivenWell{true};
    std::atomic<float> peak{0.0F};
    std::atomic<juce::int64> numProcessed{0};
};
