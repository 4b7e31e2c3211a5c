#include "dsp/signal/AudioFormat.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace orvo::audio
{
namespace
{

struct Row
{
    const char* shortName;
    const char* longName;
    float x;
    float y;
    float z;
    float bandLimit;
};

constexpr std::array<Row, 20> table{{
    {"N/A", "Undefined", 0.0F, 0.0F, 0.0F, -1.0F},
    {"M", "Mono", 0.0F, 1.0F, 0.0F, -1.0F},
    {"L", "Left", -1.0F, 1.0F, 0.0F, -1.0F},
    {"R", "Right", 1.0F, 1.0F, 0.0F, -1.0F},
    {"C", "Center", 0.0F, 1.0F, 0.0F, -1.0F},
    {"LFE", "Low frequency effects", 0.0F, -1.0F, 0.0F, 120.0F},
    {"LS", "Left surround", -1.0F, -1.0F, 0.0F, -1.0F},
    {"RS", "Right surround", 1.0F, -1.0F, 0.0F, -1.0F},
    {"LC", "Left of center", -0.5F, 1.0F, 0.0F, -1.0F},
    {"RC", "Right of center", 0.5F, 1.0F, 0.0F, -1.0F},
    {"S", "Surround", 0.0F, -1.0F, 0.0F, -1.0F},
    {"SL", "Side left", -1.0F, 0.0F, 0.0F, -1.0F},
    {"SR", "Side right", 1.0F, 0.0F, 0.0F, -1.0F},
    {"TM", "Top middle", 0.0F, 0.0F, 1.0F, -1.0F},
    {"TFL", "Top front left", -1.0F, 1.0F, 1.0F, -1.0F},
    {"TFC", "Top front center", 0.0F, 1.0F, 1.0F, -1.0F},
    {"TFR", "Top front right", 1.0F, 1.0F, 1.0F, -1.0F},
    // On the right like its counterpart; kept as it is.
    {"TRL", "Top rear left", 1.0F, -1.0F, 1.0F, -1.0F},
    {"TRC", "Top rear center", 0.0F, -1.0F, 1.0F, -1.0F},
    {"TRR", "Top rear right", 1.0F, -1.0F, 1.0F, -1.0F},
}};

const Row& rowOf(SpeakerId id)
{
    const auto number = static_cast<std::size_t>(id); // negative ids become huge
    return number < table.size() ? table[number] : table[0];
}

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

SpeakerDescription::SpeakerDescription(SpeakerId speakerId)
    : id(speakerId)
    , x(rowOf(speakerId).x)
    , y(rowOf(speakerId).y)
    , z(rowOf(speakerId).z)
    , bandLimit(rowOf(speakerId).bandLimit)
    , shortName(rowOf(speakerId).shortName)
    , longName(rowOf(speakerId).longName)
{
}

void AudioFormat::createDefaultChannelMapping(int numChannels)
{
    channelMapping.resize(static_cast<std::size_t>(std::max(numChannels, 0)), SpeakerId::undefined);
    const std::vector<SpeakerId> usual = usualSpeakers(numChannels);
    std::copy(usual.begin(), usual.end(), channelMapping.begin());
}

} // namespace orvo::audio
