#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/ChunkLayout.h"

#include <sndfile.h>

#include <string>
#include <vector>

namespace kalim
{

/// Cue points as the chunks of a WAV file: positions, and a list of labels if any has a name.
/// Written by ourselves, because the audio library leaves out the names, and in RF64 and W64 the
/// points as well.
std::vector<RawChunk> cueChunks(const std::vector<SF_CUE_POINT>& cues);

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

} // namespace kalim
