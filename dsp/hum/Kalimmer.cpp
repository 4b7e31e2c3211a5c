#include "dsp/hum/Kalimmer.h"

#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <utility>

namespace orvo::audio
{
namespace
{

/// Larger samples are limited: far above anything that is audio, far below where arithmetic in
/// single precision runs out of range.
constexpr float largestSample = 1.0e6F;

/// Sample rates above this have no window length; audio at them passes through.
constexpr double highestSampleRate = 1.1e7;

/// An analysis window is the power of two nearest to a tenth of a second: long enough to tell the
/// harmonics of 40 Hz apart. A hop is the one nearest to a twenty-fifth, about half of that.
constexpr double windowsPerSecond = 10.0;
constexpr double hopsPerSecond = 25.0;

/// What memory is taken for where no host has announced its largest block.
constexpr int usualLongestBlock = 16384;

/// Signals of the engine that live at the same time: a cleaned copy of the input, the output, and
/// what its caller has not let go of.
constexpr int numSignals = 4;

/// A host may store NaN in a parameter; the engine then works with the default.
float finiteValue(const TypedProcessorParameter<float>& parameter)
{
    const float value = parameter.value;
    return std::isfinite(value) ? value : parameter.defaultValue;
}

/// The power of two nearest to one part of a second in samples.
int getSize(double sampleRate, double partsPerSecond)
{
    if (!(sampleRate <= highestSampleRate))
        return 0;
    return MathEx::findNearestPowerOfTwo(MathEx::saturatingToInt(sampleRate / partsPerSecond));
}

} // namespace

template <typename Parameter>
Kalimmer::Listed<Parameter>::Listed(Kalimmer& engine, HumParameterId id)
{
    using Value = decltype(Parameter::defaultValue);
    assert(engine.parameters.size() == static_cast<std::size_t>(id));
    const HumParameter& row = humParameters[static_cast<std::size_t>(id)];
    this->name = row.name;
    this->unit = row.unit;
    this->numOfDecimalPlaces = row.decimals;
    this->minValue = static_cast<Value>(row.min);
    this->maxValue = static_cast<Value>(row.max);
    this->defaultValue = static_cast<Value>(row.defaultValue);
    this->value = this->defaultValue;
    engine.parameters.push_back(this);
}

template struct Kalimmer::Listed<TypedProcessorParameter<float>>;
template struct Kalimmer::Listed<TypedProcessorParameter<int>>;
template struct Kalimmer::Listed<BoolProcessorParameter>;

bool Kalimmer::setFormat(const AudioFormat& input, const AudioFormat& output)
{
    const std::lock_guard lock(parameterLock);
    const bool isAcceptable = input.getNumChannels() == output.getNumChannels() &&
                              input.getNumChannels() >= 1 && input.sampleRate == output.sampleRate;
    if (!isAcceptable)
    {
        storeFormats(input, output);
        return false;
    }
    const BlockAnalysis::Format newFormat{input.getNumChannels(), input.sampleRate,
                                          getSize(input.sampleRate, windowsPerSecond),
                                          getSize(input.sampleRate, hopsPerSecond)};
    // First everything that can fail, which leaves the engine as it was; then what cannot.
    Memory memory = makeMemory(newFormat);
    trackers.reserve(newFormat.numChannels, newFormat.hopSize);
    notches.reserve(newFormat.numChannels);
    storeFormats(input, output);
    useMemory(newFormat, std::move(memory));
    trackers.setFormat(format.numChannels, format.sampleRate, format.hopSize);
    notches.setFormat(format.numChannels, format.sampleRate);
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
    if (format.numChannels > 0 && getLongestBlock() > preparedBlock)
        useMemory(format, makeMemory(format));
    trackers.reset();
    notches.reset();
    synthesisQueue.clear();
    analysis.reset();
    hasOutput = false;
    currentFundamental = finiteValue(fundamentalFrequency);
}

Signal32 Kalimmer::process(const Signal32& input, bool bypass)
{
    const std::lock_guard lock(parameterLock);
    if (!canProcess(input))
        return input;
    const Signal32 samples = withoutExtremes(input);
    analysis.add(samples);
    if (analysis.hasBlock())
        followFundamental();
    if (bypass)
        return input;
    return aggressiveMode.value ? processWithNotchFilters(samples) : processWithTrackers(samples);
}

int Kalimmer::getNumHeldSamples()
{
    const std::lock_guard lock(parameterLock);
    return static_cast<int>(synthesisQueue.getNumSamples());
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

int Kalimmer::getLongestBlock() const
{
    return maximumBlockSize > 0 ? maximumBlockSize : usualLongestBlock;
}

Kalimmer::Memory Kalimmer::makeMemory(const BlockAnalysis::Format& newFormat)
{
    const int longestBlock = getLongestBlock();
    synthesisQueue.reserve(newFormat.numChannels, static_cast<std::size_t>(newFormat.hopSize));
    framePointers.reserve(static_cast<std::size_t>(newFormat.numChannels));
    const std::size_t slotSize =
        Signal32::getSlotSize(newFormat.numChannels, longestBlock + newFormat.hopSize);
    return {analysis.prepare(newFormat, longestBlock),
            std::make_shared<SignalArena>(slotSize, numSignals),
            Signal32(newFormat.numChannels, newFormat.hopSize), longestBlock};
}

void Kalimmer::useMemory(const BlockAnalysis::Format& newFormat, Memory memory) noexcept
{
    format = newFormat;
    hopSize = newFormat.hopSize;
    framePointers.resize(static_cast<std::size_t>(newFormat.numChannels));
    analysis.setFormat(newFormat, std::move(memory.analysis));
    arena = std::move(memory.arena);
    untouchedFrame = std::move(memory.untouchedFrame);
    preparedBlock = memory.longestBlock;
}

bool Kalimmer::canProcess(const Signal32& input) const
{
    const bool hasSizes = format.blockSize >= 1 && format.hopSize >= 1;
    const bool fits = input.getNumSamples() < 1 || input.getNumChannels() == format.numChannels;
    return hasSizes && fits;
}

/// The input itself where all of it is ordinary audio, otherwise a cleaned copy.
Signal32 Kalimmer::withoutExtremes(const Signal32& input) const
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
    Signal32 cleaned(input.getNumChannels(), numSamples, arena);
    for (int channel = 0; channel < input.getNumChannels(); ++channel)
        vo::limitToFinite(input.getReadChannelPtr(channel), cleaned.getWriteChannelPtr(channel),
                          largestSample, numSamples);
    return cleaned;
}

HarmonicSelection Kalimmer::getSelection() const
{
    return {numberOfHarmonics.value, onlyOddHarmonics.value};
}

void Kalimmer::followFundamental()
{
    const float start = finiteValue(fundamentalFrequency);
    const float updated =
        analysis.analyseBlock(currentFundamental, {start, finiteValue(adaptivity)});
    currentFundamental = std::isfinite(updated) ? updated : start;
    numAnalysedBlocks = numAnalysedBlocks + 1;
}

Signal32 Kalimmer::processWithTrackers(const Signal32& input)
{
    const int hop = format.hopSize;
    const int numSamples = input.getNumSamples();
    const int numQueued = static_cast<int>(synthesisQueue.getNumSamples());
    // A frame leaves only once there is more than a hop: one always stays, which is the latency
    // that is reported.
    const int numFrames = std::max(numQueued + numSamples - 1, 0) / hop;
    Signal32 output = makeOutput(numFrames * hop);
    int numTaken = 0;
    for (int frame = 0; frame < numFrames; ++frame)
    {
        const int missing = hop - static_cast<int>(synthesisQueue.getNumSamples());
        synthesisQueue.add(input, numTaken, missing);
        numTaken += missing;
        pointTo(output, frame * hop);
        synthesisQueue.get(framePointers, hop);
        cleanFrame(
            hop, [this]
            { trackers.subtractHarmonics(framePointers, currentFundamental, getSelection()); });
    }
    synthesisQueue.add(input, numTaken, numSamples - numTaken);
    return output;
}

Signal32 Kalimmer::processWithNotchFilters(const Signal32& input)
{
    const int numQueued = static_cast<int>(synthesisQueue.getNumSamples());
    const int numSamples = input.getNumSamples();
    Signal32 output = makeOutput(numQueued + numSamples);
    pointTo(output, 0);
    synthesisQueue.get(framePointers, numQueued);
    for (int channel = 0; channel < input.getNumChannels() && numSamples > 0; ++channel)
        vo::copy(input.getReadChannelPtr(channel), output.getWriteChannelPtr(channel) + numQueued,
                 numSamples);
    for (int start = 0; start < output.getNumSamples(); start += format.hopSize)
    {
        const int length = std::min(format.hopSize, output.getNumSamples() - start);
        pointTo(output, start);
        cleanFrame(length, [&]
                   { notches.process(framePointers, length, currentFundamental, getSelection()); });
    }
    return output;
}

/// Settles where the frame is that the next steps work on.
void Kalimmer::pointTo(Signal32& output, int start)
{
    for (int channel = 0; channel < output.getNumChannels(); ++channel)
        framePointers[static_cast<std::size_t>(channel)] =
            output.getWriteChannelPtr(channel) + start;
}

/// Lets `clean` work on the frame, and turns it into what was removed if that is wanted.
template <typename Clean>
void Kalimmer::cleanFrame(int length, const Clean& clean)
{
    const bool isResidual = residualMode.value;
    for (int channel = 0; channel < format.numChannels && isResidual; ++channel)
        vo::copy(framePointers[static_cast<std::size_t>(channel)],
                 untouchedFrame.getWriteChannelPtr(channel), length);
    clean();
    for (int channel = 0; channel < format.numChannels && isResidual; ++channel)
    {
        float* const samples = framePointers[static_cast<std::size_t>(channel)];
        vo::subtract(samples, untouchedFrame.getReadChannelPtr(channel), samples, length);
    }
}

/// Before the first output after a reset there is no signal at all, not even an empty one.
Signal32 Kalimmer::makeOutput(int numSamples)
{
    hasOutput = hasOutput || numSamples > 0;
    return hasOutput ? Signal32(format.numChannels, numSamples, arena) : Signal32();
}

} // namespace orvo::audio
