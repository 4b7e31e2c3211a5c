#include "kalim/EngineStream.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalim::program
{

using orvo::audio::Signal32;

EngineStream::EngineStream(const HumSettings& settings, int channels, int sampleRate,
                           int requestedBlockSize, AnalysisObserver observer)
    : observeAnalysis(std::move(observer))
    , numChannels(channels)
    , blockSize(requestedBlockSize)
{
    orvo::audio::AudioFormat format;
    format.createDefaultChannelMapping(channels);
    format.sampleRate = sampleRate;
    settings.applyTo(engine);
    engine.setDisplayed(false);
    engine.maximumBlockSize = std::min(blockSize, std::max(sampleRate / 10, 1)); // more than a hop
    engine.setFormat(format, format);
    if (canRemove())
        blockSize = std::min(blockSize, engine.getHopSize());
}

void EngineStream::process(std::span<const float> interleaved, const Sink& sink)
{
    const auto step = static_cast<std::size_t>(blockSize) * static_cast<std::size_t>(numChannels);
    numExpected += static_cast<std::int64_t>(interleaved.size()) / numChannels;
    for (; !interleaved.empty();
         interleaved = interleaved.subspan(std::min(step, interleaved.size())))
    {
        deinterleave(interleaved.first(std::min(step, interleaved.size())));
        processBlock(block, sink);
    }
}

void EngineStream::finish(const Sink& sink)
{
    const Signal32 silence(numChannels, blockSize, 0.0F);
    while (numDelivered < numExpected)
        processBlock(silence, sink);
}

void EngineStream::deinterleave(std::span<const float> interleaved)
{
    const auto step = static_cast<std::size_t>(numChannels);
    const std::size_t length = interleaved.size() / step;
    if (block.getNumSamples() != static_cast<int>(length))
        block = Signal32(numChannels, static_cast<int>(length));
    for (std::size_t channel = 0; channel < step; ++channel)
    {
        float* const samples = block.getWriteChannelPtr(static_cast<int>(channel));
        for (std::size_t n = 0; n < length; ++n)
        {
            const float sample = interleaved[n * step + channel];
            const bool isFinite = std::isfinite(sample);
            samples[n] = isFinite ? sample : 0.0F;
            numNonFinite += isFinite ? 0 : 1;
        }
    }
}

void EngineStream::processBlock(const Signal32& input, const Sink& sink)
{
    const Signal32 result = engine.process(input, false);
    numTaken += input.getNumSamples();
    if (engine.getNumAnalysedBlocks() != numAnalyses)
    {
        numAnalyses = engine.getNumAnalysedBlocks();
        if (numTaken <= numExpected)
            observeAnalysis(engine, numTaken);
    }
    deliver(result, sink);
}

void EngineStream::deliver(const Signal32& result, const Sink& sink)
{
    const auto length = static_cast<std::size_t>(
        std::min<std::int64_t>(result.getNumSamples(), numExpected - numDelivered));
    if (length == 0)
        return;
    const auto step = static_cast<std::size_t>(numChannels);
    output.resize(length * step);
    for (std::size_t channel = 0; channel < step; ++channel)
    {
        const float* const samples = result.getReadChannelPtr(static_cast<int>(channel));
        for (std::size_t n = 0; n < length; ++n)
            output[n * step + channel] = samples[n];
    }
    numDelivered += static_cast<std::int64_t>(length);
    sink(output);
}

} // namespace kalim::program
