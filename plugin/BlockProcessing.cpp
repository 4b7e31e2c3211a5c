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

/// A processor may return less than was asked for, when its mode changes between two questions;
/// what is not there is silence.
void copyInto(juce::AudioBuffer<float>& buffer, const Signal32& output, int numChannels)
{
    const int wanted = buffer.getNumSamples();
    const int available = std::min(output.getNumSamples(), wanted);
    for (int channel = 0; channel < std::min(numChannels, buffer.getNumChannels()); ++channel)
    {
        const int count = channel < output.getNumChannels() ? available : 0;
        float* const target = buffer.getWritePointer(channel);
        if (count > 0)
            orvo::vo::copy(output.getReadChannelPtr(channel), target, count);
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
    const orvo::audio::ProcessingInfo info = processor->getProcessingInfo();
    queueDelay = info.processingLatency;
    extraLatency = info.additionalLatency;
    reportLatency(queueDelay + extraLatency);
    heldBack = 0;
    takeMemory(input, numOutputChannels, std::max(longestBlock, 0));
    primeQueue(numOutputChannels);
}

void BlockProcessing::followTiming(int numOutputChannels)
{
    const orvo::audio::ProcessingInfo info = processor->getProcessingInfo();
    if (info.additionalLatency != extraLatency)
    {
        reportLatency(info.processingLatency + info.additionalLatency);
        extraLatency = info.additionalLatency;
    }
    if (info.processingLatency != queueDelay)
    {
        queueDelay = info.processingLatency;
        primeQueue(numOutputChannels);
    }
}

void BlockProcessing::process(juce::AudioBuffer<float>& buffer, int numInputChannels,
                              int numOutputChannels, bool isBypassed)
{
    const int numSamples = buffer.getNumSamples();
    const Signal32 processed = processor->process(copyOf(buffer, numInputChannels), isBypassed);
    if (queueDelay <= 0)
    {
        heldBack = std::max(numSamples - processed.getNumSamples(), 0);
        copyInto(buffer, processed, numOutputChannels);
        return;
    }
    outputQueue.add(processed);
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
