#pragma once

#include <cstdint>

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

} // namespace orvo::audio
