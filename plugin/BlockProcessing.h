#pragma once

#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/signal/SignalQueue.h"

#include <juce_audio_basics/juce_audio_basics.h>
#include <memory>
#include <optional>

/// The host's blocks through the processor and back: evens the processor's delay out with a queue
/// that starts with as much silence, so that the output is the processed input late by a constant
/// number of samples, whatever the processor holds back at a time. Audio thread, or while audio is
/// stopped.
class BlockProcessing
{
public:
    explicit BlockProcessing(std::shared_ptr<orvo::audio::BaseAudioProcessor> wrapped);

    /// Gives the processor its formats if they are new, resets it, and starts the queue with
    /// silence. Returns the latency to report.
    int prepare(const orvo::audio::AudioFormat& input, const orvo::audio::AudioFormat& output,
                int numOutputChannels);

    /// Follows a processor that has changed its timing since the last call. Returns a latency to
    /// report only when the latency beyond the delay changed; a change of the delay alone starts
    /// the queue anew but is not reported.
    std::optional<int> followTiming(int numOutputChannels);

    /// Processes the buffer in place. Bypassed blocks take the same way, so that switching the
    /// bypass does not move the output in time.
    void process(juce::AudioBuffer<float>& buffer, int numInputChannels, int numOutputChannels,
                 bool isBypassed);

private:
    void primeQueue(int numOutputChannels);
    orvo::audio::Signal32 takeOutput(const orvo::audio::Signal32& processed, int numOutputChannels,
                                     int numSamples);

    std::shared_ptr<orvo::audio::BaseAudioProcessor> processor;
    int queueDelay = 0;
    int extraLatency = 0;
    orvo::audio::SignalQueue<orvo::audio::Signal32> outputQueue;
};
