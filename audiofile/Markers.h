#pragma once

#include "audiofile/ChunkLayout.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kalim
{

/// A named place in a recording.
struct Marker
{
    std::uint32_t number = 0;
    std::int64_t frame = 0;

    /// In UTF-8, may be empty.
    std::string name;

    bool operator==(const Marker&) const = default;
};

/// The places that chunks of a file with that layout name: cue points of WAV, markers of AIFF and
/// CAF.
std::vector<Marker> markersOf(const ChunkLayout& layout, const std::vector<RawChunk>& chunks);

/// Whether a chunk of a file with that layout holds nothing but markers.
bool isMarkerChunk(const ChunkLayout& layout, const RawChunk& chunk);

/// Chunks that name these places, whose numbers must be valid. Written by ourselves, for the audio
/// library leaves out names and makes a second list where there is an instrument as well.
std::vector<RawChunk> markerChunks(const ChunkLayout& layout, const std::vector<Marker>& markers);

/// Gives the markers numbers that are valid in a file of that layout.
void makeValid(const ChunkLayout& layout, std::vector<Marker>& markers);

} // namespace kalim
