#include "plugin/BlockProcessing.h"

#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kalim::plugin
{
namespace
{

using orvo::audio::AudioFormat;
using orvo::audio::Signal32;

bool isSame(const AudioFormat& a, const AudioFormat& b)
{
    return a.sampleRate == b.sampleRate && a.channelMapping == b.channelMapping;
}

bool isSame(const Signal32& a, const Signal32& b)
{
    return a.hasStorage() && b.hasStorage() && a.getReadChannelPtr(0) == b.getReadChannelPtr(0);
}

/// From the sample at `from` on. A processor may return less than was asked for, when its mode
/// changes between two questions; what is not there is silence.
void copyInto(juce::AudioBuffer<float>& buffer, const Signal32& output, int from, int numChannels)
{
    const int wanted = buffer.getNumSamples();
    const int available = std::min(output.getNumSamples() - from, wanted);
    for (int channel = 0; channel < std::min(numChannels, buffer.getNumChannels()); ++channel)
    {
        const int count = channel < output.getNumChannels() ? available : 0;
        float* const target = buffer.getWritePointer(channel);
        if (count > 0)
            orvo::vo::copy(output.getReadChannelPtr(channel) + from, target, count);
        orvo::vo::setToZero(target + count, wanted - count);
    }
}

} // namespace

BlockProcessing::BlockProcessing(std::shared_ptr<orvo::audio::BaseAudioProcessor> wrapped,
                                 LatencyReport report)
    : processor(std::move(wrapped))
    , reportLatency(std::move(report))
{
}

void BlockProcessing::prepare(const AudioFormat& input, const AudioFormat& output,
                              int numOutputChannels, int longestBlock)
{
    if (!isSame(input, processor->getInputFormat()) ||
        !isSame(output, processor->getOutputFormat()))
        processor->setFormat(input, output);
    processor->reset();
    const Info info = processor->getProcessingInfo();
    queueDelay = info.processingLatency;
    extraLatency = info.additionalLatency;
    report(queueDelay + extraLatency);
    heldBack = 0;
    numStale = 0;
    wasBypassed = false;
    takeMemory(input, numOutputChannels, std::max(longestBlock, 0));
    primeQueue(numOutputChannels);
}

void BlockProcessing::reportPresentLatency()
{
    const Info info = processor->getProcessingInfo();
    report(info.processingLatency + info.additionalLatency);
}

void BlockProcessing::report(int latency)
{
    reportedLatency = latency;
    reportLatency(latency);
}

void BlockProcessing::process(juce::AudioBuffer<float>& buffer, int numInputChannels,
                              int numOutputChannels, bool isBypassed)
{
    const Info info = processor->getProcessingInfo();
    if (info.additionalLatency != extraLatency)
    {
        report(info.processingLatency + info.additionalLatency);
        extraLatency = info.additionalLatency;
    }
    const int numHeld = processor->getNumHeldSamples();
    const Signal32 input = copyOf(buffer, numInputChannels);
    const Signal32 processed = processor->process(input, isBypassed);
    followBypass(isBypassed, numHeld);
    followDelay(info, isBypassed && isSame(processed, input), numOutputChannels);
    remember(input);
    giveOut(processed, buffer, numOutputChannels);
}

void BlockProcessing::followBypass(bool isBypassed, int numHeld)
{
    if (isBypassed == std::exchange(wasBypassed, isBypassed))
        return;
    numStale = isBypassed ? 0 : numHeld;
    if (isBypassed && numHeld > 0)
        queueRecentInput();
}

void BlockProcessing::followDelay(const Info& info, bool isPassedThrough, int numOutputChannels)
{
    if (info.processingLatency == queueDelay)
        return;
    if (isPassedThrough && info.processingLatency + info.additionalLatency != reportedLatency)
        return;
    queueDelay = info.processingLatency;
    if (isPassedThrough)
        queueRecentInput();
    else
        primeQueue(numOutputChannels);
}

void BlockProcessing::giveOut(const Signal32& processed, juce::AudioBuffer<float>& buffer,
                              int numOutputChannels)
{
    const int numSamples = buffer.getNumSamples();
    const int first = std::min(numStale, processed.getNumSamples());
    numStale -= first;
    const int numProcessed = processed.getNumSamples() - first;
    if (queueDelay <= 0)
    {
        heldBack = std::max(numSamples - numProcessed, 0);
        copyInto(buffer, processed, first, numOutputChannels);
        return;
    }
    outputQueue.add(processed, first, numProcessed);
    const bool isReady = outputQueue.getNumChannels() > 0 &&
                         outputQueue.getNumSamples() >= static_cast<std::uint64_t>(numSamples);
    outputPointers.clear();
    for (int channel = 0; channel < std::min(numOutputChannels, buffer.getNumChannels()); ++channel)
    {
        outputPointers.push_back(buffer.getWritePointer(channel));
        if (!isReady || channel >= outputQueue.getNumChannels())
            orvo::vo::setToZero(outputPointers.back(), numSamples);
    }
    if (isReady)
        outputQueue.get(outputPointers, numSamples);
}

void BlockProcessing::takeMemory(const AudioFormat& format, int numOutputChannels, int longestBlock)
{
    constexpr int numHostBlocks = 2; // this one, and one that the processor may keep
    const int numChannels = std::max(format.getNumChannels(), numOutputChannels);
    // The delay may change while audio runs; more than a tenth of a second is not to be expected.
    const int longestDelay =
        std::max(queueDelay, orvo::MathEx::saturatingToInt(format.sampleRate / 10.0));
    arena = std::make_shared<orvo::audio::SignalArena>(
        Signal32::getSlotSize(numChannels, longestBlock), numHostBlocks);
    outputPointers.reserve(static_cast<std::size_t>(numChannels));
    outputQueue.reserve(numChannels, 2 * static_cast<std::size_t>(longestDelay) +
                                         static_cast<std::size_t>(longestBlock));
    const int numInputChannels = format.getNumChannels();
    recentCopy = Signal32(numInputChannels, longestDelay);
    recentInput.clear();
    recentInput.reserve(numInputChannels, static_cast<std::size_t>(longestDelay) +
                                              static_cast<std::size_t>(longestBlock));
    recentInput.addSilence(numInputChannels, longestDelay);
}

Signal32 BlockProcessing::copyOf(const juce::AudioBuffer<float>& buffer, int numChannels) const
{
    const int numSamples = buffer.getNumSamples();
    Signal32 block(numChannels, numSamples, arena);
    for (int channel = 0; channel < numChannels; ++channel)
        if (channel < buffer.getNumChannels())
            orvo::vo::copy(buffer.getReadPointer(channel), block.getWriteChannelPtr(channel),
                           numSamples);
        else
            orvo::vo::setToZero(block.getWriteChannelPtr(channel), numSamples);
    return block;
}

void BlockProcessing::primeQueue(int numOutputChannels)
{
    outputQueue.clear();
    const int silence = queueDelay - std::exchange(heldBack, 0);
    if (silence > 0)
        outputQueue.addSilence(numOutputChannels, silence);
}

/// In place of what was processed.
void BlockProcessing::queueRecentInput()
{
    outputQueue.clear();
    const int length = recentCopy.getNumSamples();
    const int count = std::clamp(queueDelay, 0, length);
    if (queueDelay > count)
        outputQueue.addSilence(recentCopy.getNumChannels(), queueDelay - count);
    recentInput.peek(recentCopy);
    outputQueue.add(recentCopy, length - count, count);
}

void BlockProcessing::remember(const Signal32& input)
{
    recentInput.add(input);
    recentInput.drop(static_cast<int>(recentInput.getNumSamples()) - recentCopy.getNumSamples());
}

orvo::audio::SpeakerId getSpeakerId(const juce::String& name)
{
    constexpr int numSpeakers = 20;
    const juce::String upperCase = name.toUpperCase();
    for (int number = 0; number < numSpeakers; ++number)
    {
        const auto id = static_cast<orvo::audio::SpeakerId>(number);
        if (upperCase == juce::String(orvo::audio::SpeakerDescription(id).shortName))
            return id;
    }
    return orvo::audio::SpeakerId::undefined;
}

orvo::audio::AudioFormat makeFormat(const juce::String& speakerArrangement, int numChannels,
                                    double sampleRate)
{
    juce::StringArray names;
    names.addTokens(speakerArrangement, " ", "");
    orvo::audio::AudioFormat format;
    format.sampleRate = sampleRate;
    if (names.size() == numChannels)
        std::transform(names.begin(), names.end(), std::back_inserter(format.channelMapping),
                       getSpeakerId);
    else
        format.createDefaultChannelMapping(numChannels);
    return format;
}

int getChannelLimit(const juce::String& hostPath)
{
    constexpr int maxChannels = 8;
    return hostPath.containsIgnoreCase("edius") ? 2 : maxChannels;
}

} // namespace kalim::plugin
