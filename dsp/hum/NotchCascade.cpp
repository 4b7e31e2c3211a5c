#include "dsp/hum/NotchCascade.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio
{
namespace
{

constexpr std::size_t maximum = HarmonicSelection::maximum;
constexpr std::size_t numBlocks = (maximum + kernels::stagesPerBlock - 1) / kernels::stagesPerBlock;

} // namespace

NotchCascade::NotchCascade()
    : filters(maximum)
    , blocks(numBlocks)
{
    stages.reserve(maximum);
}

void NotchCascade::setFormat(int newNumChannels, double newSampleRate)
{
    numChannels = newNumChannels;
    sampleRate = newSampleRate;
    // Any frequency will do: each frame tunes the filters, here they get their memory.
    const auto section = IirCoefficients::designBandPass(0.125, notchQ, 1.0);
    for (IirFilter64& filter : filters)
        filter.setSection(numChannels, section);
    reset();
}

void NotchCascade::reset()
{
    for (IirFilter64& filter : filters)
        filter.reset();
}

void NotchCascade::process(Signal32& samples, float fundamental, HarmonicSelection selection)
{
    gatherStages(fundamental, selection);
    if (stages.empty())
        return;
    for (int channel = 0; channel < numChannels; ++channel)
    {
        loadBlocks(channel);
        kernels::runNotches(getBlocksInUse(),
                            std::span(samples.getWriteChannelPtr(channel),
                                      static_cast<std::size_t>(samples.getNumSamples())));
        storeBlocks(channel);
    }
}

void NotchCascade::gatherStages(float fundamental, HarmonicSelection selection)
{
    stages.clear();
    const auto limit = static_cast<float>(HarmonicSelection::highestRelativeFrequency * sampleRate);
    for (int index = 0; index < selection.count; ++index)
    {
        const float frequency = selection.getFrequency(index, fundamental);
        if (!(limit > frequency && frequency > 0.0F))
            continue;
        IirFilter64& filter = filters[static_cast<std::size_t>(index)];
        filter.setSection(numChannels, IirCoefficients::designBandPass(
                                           static_cast<double>(frequency), notchQ, sampleRate));
        stages.push_back(&filter);
    }
}

void NotchCascade::loadBlocks(int channel)
{
    std::ranges::fill(getBlocksInUse(), kernels::NotchBlock());
    for (std::size_t i = 0; i < stages.size(); ++i)
    {
        const std::span<const double> taps = stages[i]->getNormalisedTaps();
        const std::span<const double> state = stages[i]->getDelayLine(channel);
        kernels::NotchBlock& block = blocks[i / kernels::stagesPerBlock];
        const std::size_t lane = i % kernels::stagesPerBlock;
        block.b0[lane] = taps[0];
        block.a1[lane] = taps[4];
        block.a2[lane] = taps[5];
        block.s1[lane] = state[0];
        block.s2[lane] = state[1];
        block.numStages = lane + 1;
    }
}

void NotchCascade::storeBlocks(int channel)
{
    for (std::size_t i = 0; i < stages.size(); ++i)
    {
        const kernels::NotchBlock& block = blocks[i / kernels::stagesPerBlock];
        const std::size_t lane = i % kernels::stagesPerBlock;
        const std::span<double> state = stages[i]->getDelayLine(channel);
        // A state that is no number would never leave a recursive filter again.
        const bool isFinite = std::isfinite(block.s1[lane]) && std::isfinite(block.s2[lane]);
        state[0] = isFinite ? block.s1[lane] : 0.0;
        state[1] = isFinite ? block.s2[lane] : 0.0;
    }
}

std::span<kernels::NotchBlock> NotchCascade::getBlocksInUse()
{
    return std::span(blocks).first((stages.size() + kernels::stagesPerBlock - 1) /
                                   kernels::stagesPerBlock);
}

} // namespace orvo::audio
