#include "dsp/signal/AudioFormat.h"

#include <algorithm>
#include <cstddef>

namespace orvo::audio
{
namespace
{

std::vector<SpeakerId> usualSpeakers(int numChannels)
{
    using enum SpeakerId;
    switch (numChannels)
    {
    case 1:
        return {mono};
    case 2:
        return {left, right};
    case 3:
        return {left, right, lowFrequencyEffects};
    case 4:
        return {left, right, leftSurround, rightSurround};
    case 5:
        return {left, right, center, leftSurround, rightSurround};
    case 6:
        return {left, right, center, lowFrequencyEffects, leftSurround, rightSurround};
    case 7:
        return {left, right, center, leftSurround, rightSurround, sideLeft, sideRight};
    case 8:
        return {left,         right,         center,   lowFrequencyEffects,
                leftSurround, rightSurround, sideLeft, sideRight};
    default:
        return {};
    }
}

} // namespace

void AudioFormat::createDefaultChannelMapping(int numChannels)
{
    channelMapping.resize(static_cast<std::size_t>(std::max(numChannels, 0)), SpeakerId::undefined);
    const std::vector<SpeakerId> usual = usualSpeakers(numChannels);
    std::copy(usual.begin(), usual.end(), channelMapping.begin());
}

} // namespace orvo::audio
