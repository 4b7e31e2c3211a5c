#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/ChunkLayout.h"

#include <string>

namespace kalim
{

/// What happened to a recording, as one line of the history in its broadcast extension.
struct CodingStep
{
    AudioFileFormat format;
    int channels = 0;
    int sampleRate = 0;

    /// Free text that names the program and what it did; commas and line ends are replaced.
    std::string text;
};

/// A broadcast extension with one line more; one too short to be valid is returned unchanged.
RawChunk withCodingStep(const RawChunk& broadcastExtension, const CodingStep& step);

/// A broadcast extension with its numbers in the other byte order; one too short to be valid is
/// returned unchanged.
RawChunk withOtherByteOrder(const RawChunk& broadcastExtension);

} // namespace kalim
