#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo::audio
{

/// Loudspeaker positions; 0 is undefined.
enum class SpeakerId : std::int32_t
{
    undefined = 0,
    mono = 1,
    left = 2,
    right = 3,
    center = 4,
    lowFrequencyEffects = 5,
    leftSurround = 6,
    rightSurround = 7,
    leftOfCenter = 8,
    rightOfCenter = 9,
    surround = 10,
    sideLeft = 11,
    sideRight = 12,
    topMiddle = 13,
    topFrontLeft = 14,
    topFrontCenter = 15,
    topFrontRight = 16,
    topRearLeft = 17,
    topRearCenter = 18,
    topRearRight = 19
};

/// Names and place of a loudspeaker position.
class SpeakerDescription
{
public:
    /// Looks the position up; ids outside the known ones give "N/A" and "Undefined".
    explicit SpeakerDescription(SpeakerId speakerId);

    SpeakerId id;

    /// Place on a unit cube round the listener: x from -1 (left) to +1 (right), y from -1 (rear) to
    /// +1 (front), z 0 (ear level) or +1 (top).
    float x;
    float y;
    float z;

    /// Upper limit of a band-limited channel in Hz; -1 for full range.
    float bandLimit;

    std::string shortName;
    std::string longName;
};

/// What a processor is fed: one loudspeaker per channel, in channel order, and the sample rate.
struct AudioFormat
{
    std::vector<SpeakerId> channelMapping;

    /// In Hz.
    double sampleRate = 0.0;

    int getNumChannels() const { return static_cast<int>(channelMapping.size()); }

    /// Resizes the mapping to `numChannels` and gives 1 to 8 channels their usual loudspeakers
    /// (three channels are left, right and low frequency effects). For other counts, channels that
    /// were there keep theirs and new ones are undefined. Counts below 0 count as 0.
    void createDefaultChannelMapping(int numChannels);
};

} // namespace orvo::audio
