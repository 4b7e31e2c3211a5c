#pragma once

#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/processor/TypedProcessorParameter.h"
#include "dsp/signal/SignalQueue.h"

/// A processor that holds as much back as it says, gives its samples out in lumps, and can be asked
/// what was done to it.
class DelayingProcessor : public orvo::audio::BaseAudioProcessor
{
public:
    DelayingProcessor()
    {
        describe(linear, "Linear", 20.0F, 200.0F, 110.0F);
        describe(logarithmic, "Logarithmic", 1.0F, 1000.0F, 10.0F);
        describe(toggle, "Toggle", 0.0F, 1.0F, 0.5F);
        parameters = {&linear, &logarithmic, &toggle};
    }

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
    static void describe(orvo::audio::TypedProcessorParameter<float>& parameter, const char* name,
                         float min, float max, float value)
    {
        parameter.name = name;
        parameter.minValue = min;
        parameter.maxValue = max;
        parameter.defaultValue = value;
        parameter.value = value;
    }

    orvo::audio::TypedProcessorParameter<float> linear;
    orvo::audio::TypedProcessorParameter<float> logarithmic;
    orvo::audio::TypedProcessorParameter<float> toggle;
    orvo::audio::SignalQueue<orvo::audio::Signal32> queue;
};
