#pragma once

#include "audiofile/SampleSource.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace kalim
{

/// A packet of the first stream of an Ogg file, counted from 0; that of the comments is 1. Nothing
/// if the file ends before or is damaged.
std::optional<std::vector<std::byte>> oggPacket(int descriptor, int number);

/// One of the recordings that follow one another in an Ogg file.
struct OggLink
{
    FileRange range;

    /// Whether its last page says that its stream ends there.
    bool isEnded = false;
};

/// What the pages of an Ogg file tell when all of them are looked at.
struct OggSurvey
{
    std::vector<OggLink> links;

    /// Bytes that are no whole page with a right checksum.
    std::int64_t damagedBytes = 0;

    /// Pages that are not there although their numbers are passed over.
    std::int64_t missingPages = 0;
};

/// Reads a whole file. Throws std::system_error when the disk fails.
OggSurvey surveyOgg(int descriptor);

} // namespace kalim
