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

/// A broadcast extension of a big-endian file with its numbers in the usual order; one too short to
/// be valid is returned unchanged.
RawChunk inUsualByteOrder(const RawChunk& broadcastExtension);

} // namespace kalim
