#pragma once

#include <atomic>
#include <juce_audio_processors/juce_audio_processors.h>

namespace kalim::test
{

/// Halves the sound, and tells what it was driven with. A graph for all that needs no answer here.
class ProbeProcessor : public juce::AudioProcessorGraph
{
public:
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

    using juce::AudioProcessorGraph::processBlock;

    void getStateInformation(juce::MemoryBlock& destination) override
    {
        destination.replaceAll(state.getData(), state.getSize()); // an empty one as well
    }

    void setStateInformation(const void* data, int size) override
    {
        state = {data, static_cast<std::size_t>(size)};
    }

    juce::MemoryBlock state;
    std::atomic<double> rate{0.0};
    std::atomic<int> maximumFrames{0};
    std::atomic<bool> wasDrivenWell{true};
    std::atomic<float> peak{0.0F};
    std::atomic<juce::int64> numProcessed{0};
};

} // namespace kalim::test
