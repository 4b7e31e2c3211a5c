#include "dsp/hum/Kalimmer.h"

#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace orvo::audio
{
namespace
{

/// Larger samples are limited: far above anything that is audio, far below where arithmetic in
/// single precision runs out of range.
constexpr float largestSample = 1.0e6F;

/// Sample rates above this have no block size; audio at them passes through.
constexpr double highestSampleRate = 1.1e7;

template <typename T>
void describe(TypedProcessorParameter<T>& parameter, HumParameterId id)
{
    const HumParameter& row = humParameters[static_cast<std::size_t>(id)];
    parameter.name = row.name;
    parameter.unit = row.unit;
    parameter.numOfDecimalPlaces = row.decimals;
    parameter.minValue = static_cast<T>(row.min);
    parameter.maxValue = static_cast<T>(row.max);
    parameter.defaultValue = static_cast<T>(row.defaultValue);
    parameter.value = parameter.defaultValue;
}

/// A host may store not-a-number in a parameter; the engine then works with the default.
float finiteValue(const TypedProcessorParameter<float>& parameter)
{
    const float value = parameter.value;
    return std::isfinite(value) ? value : parameter.defaultValue;
}

/// Nearest power of two to a number of seconds in samples.
int sizeFor(double sampleRate, double perSecond)
{
    if (!(sampleRate <= highestSampleRate))
        return 0;
    return MathEx::findNearestPowerOfTwo(MathEx::saturatingToInt(sampleRate / perSecond));
}

/// The signal itself where all of it is ordinary audio, otherwise a cleaned copy.
Signal32 withoutExtremes(const Signal32& input)
{
    const int numSamples = input.getNumSamples();
    const auto isOrdinary = [&]
    {
        for (int channel = 0; channel < input.getNumChannels(); ++channel)
            if (!vo::isWithin(input.getReadChannelPtr(channel), largestSample, numSamples))
                return false;
        return true;
    };
    if (isOrdinary())
        return input;
    Signal32 cleaned(input.getNumChannels(), numSamples);
    for (int channel = 0; channel < input.getNumChannels(); ++channel)
        vo::limitToFinite(input.getReadChannelPtr(channel), cleaned.getWriteChannelPtr(channel),
                          largestSample, numSamples);
    return cleaned;
}

int countOf(const SignalQueue<Signal32>& queue)
{
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    return static_cast<int>(std::min(queue.getNumSamples(), most));
}

} // namespace

Kalimmer::Kalimmer()
{
    const auto add = [this](auto& parameter)
    {
        describe(parameter, static_cast<HumParameterId>(parameters.size()));
        parameters.push_back(&parameter);
    };
    add(fundamentalFrequency);
    add(sensitivity);
    add(adaptivity);
    add(numberOfHarmonics);
    add(onlyOddHarmonics);
    add(aggressiveMode);
    add(residualMode);
    currentFundamental = fundamentalFrequency.defaultValue;
}

bool Kalimmer::setFormat(const AudioFormat& input, const AudioFormat& output)
{
    const std::lock_guard lock(parameterLock);
    storeFormats(input, output);
    const bool isAcceptable = input.getNumChannels() == output.getNumChannels() &&
                              input.getNumChannels() >= 1 && input.sampleRate == output.sampleRate;
    if (!isAcceptable)
        return false;
    numChannels = input.getNumChannels();
    sampleRate = input.sampleRate;
    blockSize = sizeFor(sampleRate, 10.0);
    hopSize = sizeFor(sampleRate, 25.0);
    trackers.setFormat(numChannels, sampleRate, hopSize);
    notches.setFormat(numChannels, sampleRate);
    analysis.setFormat(numChannels, sampleRate, blockSize, hopSize);
    reserveMemory();
    reset();
    return true;
}

ProcessingInfo Kalimmer::getProcessingInfo()
{
    ProcessingInfo info;
    info.processingLatency = aggressiveMode.value ? 0 : static_cast<int>(hopSize);
    return info;
}

void Kalimmer::reset()
{
    const std::lock_guard lock(parameterLock);
    trackers.reset();
    notches.reset();
    synthesisQueue.clear();
    analysisQueue.clear();
    outputQueue.clear();
    analysis.reset();
    currentFundamental = finiteValue(fundamentalFrequency);
}

Signal32 Kalimmer::process(const Signal32& input, bool bypass)
{
    const std::lock_guard lock(parameterLock);
    if (!canProcess(input))
        return input;
    const Signal32 samples = withoutExtremes(input);
    analysisQueue.add(samples);
    analyseQueue();
    if (bypass)
        return input;
    return aggressiveMode.value ? processWithNotchFilters(samples) : processWithTrackers(samples);
}

std::vector<HarmonicStatus> Kalimmer::getDetectionStatus() const
{
    const HarmonicSelection selection = getSelection();
    const float fundamental = currentFundamental;
    const bool countAll = aggressiveMode.value;
    std::vector<HarmonicStatus> result;
    result.reserve(static_cast<std::size_t>(selection.count));
    for (int index = 0; index < selection.count; ++index)
        result.push_back({selection.getFrequency(index, fundamental),
                          countAll || trackers.getTracker(index).isSinusoidalPresent()});
    return result;
}

/// Enough for the queues to be full of short blocks, and for one analysis.
void Kalimmer::reserveMemory()
{
    constexpr int shortestBlock = 32;
    constexpr int piecesPerBlock = 3; // the shared storage, its list of channels, the queue's node
    constexpr int piecesPerAnalysis = 8;
    reserve.release();
    const int longestQueue = blockSize + 2 * hopSize;
    if (longestQueue < shortestBlock)
        return;
    constexpr std::array<std::size_t, 3> pieceSizes{64, 128, 256};
    for (const std::size_t numBytes : pieceSizes)
        reserve.add(numBytes, piecesPerBlock * longestQueue / shortestBlock);
    for (int length = shortestBlock; length <= hopSize; length *= 2)
        reserve.add(sizeof(float) * static_cast<std::size_t>(length),
                    (longestQueue / length + 2) * numChannels);
    // From a block of samples up to the complex spectrum for the display.
    const auto blockBytes = sizeof(float) * static_cast<std::size_t>(blockSize);
    for (std::size_t numBytes = blockBytes; numBytes <= 8 * blockBytes; numBytes *= 2)
        reserve.add(numBytes, piecesPerAnalysis + numChannels);
}

bool Kalimmer::canProcess(const Signal32& input) const
{
    const bool hasSizes = blockSize >= 1 && hopSize >= 1;
    const bool fits = input.getNumSamples() < 1 || input.getNumChannels() == numChannels;
    return hasSizes && fits;
}

HarmonicSelection Kalimmer::getSelection() const
{
    return {numberOfHarmonics.value, onlyOddHarmonics.value};
}

void Kalimmer::analyseQueue()
{
    if (analysisQueue.getNumSamples() < static_cast<std::uint64_t>(blockSize))
        return;
    analyseBlock(analysisQueue.peek(blockSize));
    analysisQueue.drop(hopSize);
}

void Kalimmer::analyseBlock(const Signal32& block)
{
    const float start = finiteValue(fundamentalFrequency);
    const float updated =
        analysis.analyseBlock(block, currentFundamental, {start, finiteValue(adaptivity)});
    currentFundamental = std::isfinite(updated) ? updated : start;
    numAnalysedBlocks = numAnalysedBlocks + 1;
}

Signal32 Kalimmer::processWithTrackers(const Signal32& input)
{
    synthesisQueue.add(input);
    // Strictly more: one hop always stays queued, which is the latency that is reported.
    while (synthesisQueue.getNumSamples() > static_cast<std::uint64_t>(hopSize))
    {
        const Signal32 frame = synthesisQueue.get(hopSize);
        Signal32 cleaned = frame;
        trackers.subtractHarmonics(frame, cleaned, currentFundamental, getSelection());
        queueOutput(frame, cleaned);
    }
    return takeOutput();
}

Signal32 Kalimmer::processWithNotchFilters(const Signal32& input)
{
    synthesisQueue.add(input);
    while (synthesisQueue.getNumSamples() > 0)
    {
        const Signal32 frame = synthesisQueue.get(std::min<int>(hopSize, countOf(synthesisQueue)));
        Signal32 cleaned = frame;
        notches.process(cleaned, currentFundamental, getSelection());
        queueOutput(frame, cleaned);
    }
    return takeOutput();
}

void Kalimmer::queueOutput(const Signal32& frame, const Signal32& cleaned)
{
    if (!residualMode.value)
    {
        outputQueue.add(cleaned);
        return;
    }
    Signal32 removed(frame.getNumChannels(), frame.getNumSamples());
    for (int channel = 0; channel < frame.getNumChannels(); ++channel)
        vo::subtract(cleaned.getReadChannelPtr(channel), frame.getReadChannelPtr(channel),
                     removed.getWriteChannelPtr(channel), frame.getNumSamples());
    outputQueue.add(removed);
}

Signal32 Kalimmer::takeOutput()
{
    return outputQueue.get(countOf(outputQueue));
}

} // namespace orvo::audio
