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
    channels.resize(static_cast<std::size_t>(numChannels));
    states.resize(channels.size() * numBlocks);
    tuning.reset();
    reset();
}

void NotchCascade::reset()
{
    for (IirFilter64& filter : filters)
        filter.reset();
}

void NotchCascade::process(Signal32& samples, float fundamental, HarmonicSelection selection)
{
    tune({fundamental, selection});
    if (stages.empty())
        return;
    for (int channel = 0; channel < numChannels; ++channel)
    {
        loadStates(channel);
        channels[static_cast<std::size_t>(channel)] = {samples.getWriteChannelPtr(channel),
                                                       getStates(channel)};
    }
    kernels::runNotches(getBlocksInUse(), channels,
                        static_cast<std::size_t>(samples.getNumSamples()));
    for (int channel = 0; channel < numChannels; ++channel)
        storeStates(channel);
}

void NotchCascade::tune(const Tuning& wanted)
{
    // Tuning takes as long as a short block, and the fundamental changes once in many of them.
    if (tuning == wanted)
        return;
    tuning = wanted;
    stages.clear();
    const auto limit = static_cast<float>(HarmonicSelection::highestRelativeFrequency * sampleRate);
    for (int index = 0; index < wanted.selection.count; ++index)
    {
        const float frequency = wanted.selection.getFrequency(index, wanted.fundamental);
        if (!(limit > frequency && frequency > 0.0F))
            continue;
        IirFilter64& filter = filters[static_cast<std::size_t>(index)];
        filter.setSection(numChannels, IirCoefficients::designBandPass(
                                           static_cast<double>(frequency), notchQ, sampleRate));
        stages.push_back(&filter);
    }
    loadBlocks();
}

void NotchCascade::loadBlocks()
{
    std::ranges::fill(getBlocksInUse(), kernels::NotchBlock());
    for (std::size_t i = 0; i < stages.size(); ++i)
    {
        const std::span<const double> taps = stages[i]->getNormalisedTaps();
        kernels::NotchBlock& block = blocks[i / kernels::stagesPerBlock];
        const std::size_t lane = i % kernels::stagesPerBlock;
        block.b0[lane] = taps[0];
        block.a1[lane] = taps[4];
        block.a2[lane] = taps[5];
        block.numStages = lane + 1;
    }
}

void NotchCascade::loadStates(int channel)
{
    kernels::NotchState* const loaded = getStates(channel);
    std::fill_n(loaded, getBlocksInUse().size(), kernels::NotchState());
    for (std::size_t i = 0; i < stages.size(); ++i)
    {
        const std::span<const double> delayLine = stages[i]->getDelayLine(channel);
        kernels::NotchState& state = loaded[i / kernels::stagesPerBlock];
        state.s1[i % kernels::stagesPerBlock] = delayLine[0];
        state.s2[i % kernels::stagesPerBlock] = delayLine[1];
    }
}

void NotchCascade::storeStates(int channel)
{
    const kernels::NotchState* const loaded = getStates(channel);
    for (std::size_t i = 0; i < stages.size(); ++i)
    {
        const kernels::NotchState& state = loaded[i / kernels::stagesPerBlock];
        const double s1 = state.s1[i % kernels::stagesPerBlock];
        const double s2 = state.s2[i % kernels::stagesPerBlock];
        const std::span<double> delayLine = stages[i]->getDelayLine(channel);
        // A state that is no number would never leave a recursive filter again.
        const bool isFinite = std::isfinite(s1) && std::isfinite(s2);
        delayLine[0] = isFinite ? s1 : 0.0;
        delayLine[1] = isFinite ? s2 : 0.0;
    }
}

kernels::NotchState* NotchCascade::getStates(int channel)
{
    return states.data() + static_cast<std::size_t>(channel) * numBlocks;
}

std::span<kernels::NotchBlock> NotchCascade::getBlocksInUse()
{
    return std::span(blocks).first((stages.size() + kernels::stagesPerBlock - 1) /
                                   kernels::stagesPerBlock);
}

} // namespace orvo::audio
