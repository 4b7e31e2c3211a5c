#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/Tags.h"

#include <cstddef>
#include <span>
#include <vector>

namespace kalim
{

/// What a file says of its music that is no list of chunks: FLAC, Ogg Vorbis, Opus, MP3, and what
/// else the tag library knows.
Tags readFileTags(const AudioFileReader& reader);

/// The content of an ID3v2 tag of any version.
Tags tagsOfId3(std::span<const std::byte> id3);

/// An ID3v2 tag with everything that it can hold; the one that the tags have, where that says it
/// all. Empty for no tags.
std::vector<std::byte> id3Of(const Tags& tags);

/// Metadata blocks of a FLAC file with everything, in the form in which they follow its first
/// block; none is marked as the last. Empty for no tags.
std::vector<std::byte> flacBlocksOf(const Tags& tags);

/// Puts the tags into a complete Ogg Vorbis or Opus file. Throws std::system_error when the disk is
/// full or fails.
void writeOggTags(int descriptor, const AudioFileFormat& format, const Tags& tags);

} // namespace kalim
