#pragma once

#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/signal/SignalQueue.h"

/// A processor that holds as much back as it says, gives its samples out in lumps, and can be asked
/// what was done to it.
class DelayingProcessor : public orvo::audio::BaseAudioProcessor
{
public:
    bool setFormat(const orvo::audio::AudioFormat& input,
                   const orvo::audio::AudioFormat& output) override
    {
        ++numFormats;
        return BaseAudioProcessor::setFormat(input, output);
    }

    orvo::audio::ProcessingInfo getProcessingInfo() override
    {
        return {.processingLatency = delay, .additionalLatency = additionalLatency};
    }

    void reset() override
    {
        ++numResets;
        queue.clear();
    }

    orvo::audio::Signal32 process(const orvo::audio::Signal32& input, bool bypass) override
    {
        wasBypassed = bypass;
        if (delay == 0)
            return input;
        queue.add(input);
        const int ready = static_cast<int>(queue.getNumSamples()) - delay;
        return ready > 0 ? queue.get(ready / lump * lump) : orvo::audio::Signal32();
    }

    std::string getName() override { return "Delay"; }

    int delay = 512;
    int additionalLatency = 0;
    int lump = 1;
    int numFormats = 0;
    int numResets = 0;
    bool wasBypassed = false;

private:
    orvo::audio::SignalQueue<orvo::audio::Signal32> queue;
};
