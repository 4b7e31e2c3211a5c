#pragma once

#include "audiofile/SampleSource.h"

#include <cstdint>
#include <optional>

namespace kalim
{

/// What the frames of an MPEG audio stream tell when all of them are looked at.
struct Mp3Survey
{
    std::int64_t frames = 0;

    /// Per channel, those included that an encoder adds at both ends.
    std::int64_t samples = 0;

    /// Frames that describe the stream and hold no sound.
    std::int64_t indexFrames = 0;

    /// How many frames the first index counts.
    std::optional<std::int64_t> statedFrames;

    /// Bytes that belong neither to a frame nor to a tag.
    std::int64_t strayBytes = 0;

    /// Whether all of those are zeros.
    bool isStrayEmpty = true;

    /// Bytes of a frame at the end that are missing.
    std::int64_t missingBytes = 0;

    /// Where the sample rate or the number of channels changes first, in samples.
    std::optional<std::int64_t> changesAt;
};

/// Reads a whole range. Throws std::system_error when the disk fails.
Mp3Survey surveyMp3(const FileRange& range);

/// Whether frames follow one another from its start on, behind tags and about as many other bytes.
bool isMp3(const FileRange& range, std::int64_t farthest);

} // namespace kalim
