#include "kalim/StreamRemover.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalim::program
{
namespace
{

using orvo::audio::Signal32;

orvo::audio::AudioFormat formatOf(int channels, int sampleRate)
{
    orvo::audio::AudioFormat format;
    format.createDefaultChannelMapping(channels);
    format.sampleRate = sampleRate;
    return format;
}

Signal32 deinterleave(std::span<const float> interleaved, int numChannels)
{
    const auto step = static_cast<std::size_t>(numChannels);
    const std::size_t length = interleaved.size() / step;
    Signal32 result(numChannels, static_cast<int>(length));
    for (std::size_t channel = 0; channel < step; ++channel)
    {
        float* const samples = result.getWriteChannelPtr(static_cast<int>(channel));
        for (std::size_t n = 0; n < length; ++n)
        {
            const float sample = interleaved[n * step + channel];
            samples[n] = std::isfinite(sample) ? sample : 0.0F;
        }
    }
    return result;
}

} // namespace

StreamRemover::StreamRemover(const HumSettings& settings, int channels, int sampleRate,
                             int requestedBlockSize, AnalysisObserver observer)
    : observeAnalysis(std::move(observer))
    , numChannels(channels)
    , blockSize(requestedBlockSize)
{
    const orvo::audio::AudioFormat format = formatOf(channels, sampleRate);
    settings.applyTo(remover);
    remover.setDisplayed(false);
    remover.setFormat(format, format);
    if (canRemove())
        blockSize = std::min(blockSize, remover.getHopSize());
}

void StreamRemover::process(std::span<const float> interleaved, const Sink& sink)
{
    const auto step = static_cast<std::size_t>(blockSize) * static_cast<std::size_t>(numChannels);
    numExpected += static_cast<std::int64_t>(interleaved.size()) / numChannels;
    numNonFinite += std::ranges::count_if(interleaved, [](float x) { return !std::isfinite(x); });
    for (std::size_t start = 0; start < interleaved.size(); start += step)
        processBlock(interleaved.subspan(start, std::min(step, interleaved.size() - start)), sink);
}

void StreamRemover::finish(const Sink& sink)
{
    const std::vector<float> silence(static_cast<std::size_t>(blockSize) *
                                     static_cast<std::size_t>(numChannels));
    while (numDelivered < numExpected)
        processBlock(silence, sink);
}

void StreamRemover::processBlock(std::span<const float> interleaved, const Sink& sink)
{
    const Signal32 block = deinterleave(interleaved, numChannels);
    const Signal32 result = remover.process(block, false);
    numTaken += block.getNumSamples();
    if (remover.getNumAnalysedBlocks() != numAnalyses)
    {
        numAnalyses = remover.getNumAnalysedBlocks();
        if (numTaken <= numExpected)
            observeAnalysis(remover, numTaken);
    }
    deliver(result, sink);
}

void StreamRemover::deliver(const Signal32& block, const Sink& sink)
{
    const auto length = static_cast<std::size_t>(
        std::min<std::int64_t>(block.getNumSamples(), numExpected - numDelivered));
    if (length == 0)
        return;
    const auto step = static_cast<std::size_t>(numChannels);
    output.resize(length * step);
    for (std::size_t channel = 0; channel < step; ++channel)
    {
        const float* const samples = block.getReadChannelPtr(static_cast<int>(channel));
        for (std::size_t n = 0; n < length; ++n)
            output[n * step + channel] = samples[n];
    }
    numDelivered += static_cast<std::int64_t>(length);
    sink(output);
}

} // namespace kalim::program
