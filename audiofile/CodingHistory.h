#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/RawChunk.h"

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

/// "A=PCM,F=48000,W=24,M=stereo,T=TEXT" without the line end.
std::string codingHistoryLine(const CodingStep& step);

/// A broadcast extension with one line more; one too short to be valid is returned unchanged.
RawChunk withCodingStep(const RawChunk& broadcastExtension, const CodingStep& step);

} // namespace kalim
