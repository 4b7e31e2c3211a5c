#pragma once

#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/signal/SignalQueue.h"

#include <atomic>
#include <functional>
#include <juce_audio_basics/juce_audio_basics.h>
#include <memory>
#include <vector>

namespace kalim::plugin
{

/// The host's blocks through the processor and back: evens the processor's delay out with a queue
/// that starts with as much silence, so that the output is the processed input late by a constant
/// number of samples, whatever the processor holds back at a time. Audio thread, or while audio is
/// stopped.
class BlockProcessing
{
public:
    /// Takes a latency in samples to the host; on the thread that found the latency changed.
    using LatencyReport = std::function<void(int)>;

    BlockProcessing(std::shared_ptr<orvo::audio::BaseAudioProcessor> wrapped, LatencyReport report);

    /// Gives the processor its formats if they are new, resets it, reports its latency, and starts
    /// the queue with silence. Takes the memory for host blocks of up to `longestBlock` samples;
    /// with longer ones the audio thread has to ask the system for more. Throws std::bad_alloc.
    void prepare(const orvo::audio::AudioFormat& input, const orvo::audio::AudioFormat& output,
                 int numOutputChannels, int longestBlock);

    /// Reports the latency that the processor has now, after it was given settings as a whole. Any
    /// thread but the audio thread.
    void reportPresentLatency();

    /// Processes the buffer in place.
    ///
    /// A processor that has changed its timing since the last call is followed: the latency is
    /// reported only when the part of it beyond the delay changed; a change of the delay alone
    /// starts the queue anew but is not reported.
    ///
    /// Bypassed blocks take the same way through the queue. Where the processor hands back the very
    /// input and holds older samples meanwhile, these are left out: the output is the bare input
    /// from the first sample of the bypass until as many samples after it as the delay is long,
    /// with none left out or repeated, and the processed sound goes on from there. As long as such
    /// a bypass lasts, the delay changes only towards what was reported.
    void process(juce::AudioBuffer<float>& buffer, int numInputChannels, int numOutputChannels,
                 bool isBypassed);

private:
    using Info = orvo::audio::ProcessingInfo;

    void takeMemory(const orvo::audio::AudioFormat& format, int numOutputChannels,
                    int longestBlock);
    orvo::audio::Signal32 copyOf(const juce::AudioBuffer<float>& buffer, int numChannels) const;
    void report(int latency);
    void followBypass(bool isBypassed, int numHeld);
    void followDelay(const Info& info, bool isPassedThrough, int numOutputChannels);
    void primeQueue(int numOutputChannels);
    void queueRecentInput();
    void remember(const orvo::audio::Signal32& input);
    void giveOut(const orvo::audio::Signal32& processed, juce::AudioBuffer<float>& buffer,
                 int numOutputChannels);

    std::shared_ptr<orvo::audio::BaseAudioProcessor> processor;
    LatencyReport reportLatency;
    int queueDelay = 0;
    int extraLatency = 0;
    std::atomic<int> reportedLatency{0};
    bool wasBypassed = false;

    /// Samples that the processor still holds from before a bypass. What it makes of them would
    /// come too late.
    int numStale = 0;

    /// What a processor without delay owed of the last block, because its mode changed after it was
    /// asked for its timing.
    int heldBack = 0;

    /// The memory of the host block.
    std::shared_ptr<orvo::audio::SignalArena> arena;
    std::vector<float*> outputPointers;
    orvo::audio::SignalQueue<orvo::audio::Signal32> outputQueue;

    /// The last input, always as many samples as `recentCopy` has room for.
    orvo::audio::SignalQueue<orvo::audio::Signal32> recentInput;
    orvo::audio::Signal32 recentCopy;
};

/// The loudspeaker with that short name, in any letter case; undefined where there is none.
orvo::audio::SpeakerId getSpeakerId(const juce::String& name);

/// The format of one direction: the loudspeakers that the host names, separated by single spaces,
/// if there is one for each of its channels, otherwise the usual ones for that number of channels.
orvo::audio::AudioFormat makeFormat(const juce::String& speakerArrangement, int numChannels,
                                    double sampleRate);

/// How many channels a layout may have in the host with that path: eight, but two in one product,
/// wherever it is installed.
int getChannelLimit(const juce::String& hostPath);

} // namespace kalim::plugin
