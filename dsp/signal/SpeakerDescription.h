#pragma once

#include "dsp/signal/SpeakerId.h"

#include <string>

namespace orvo::audio
{

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

} // namespace orvo::audio
