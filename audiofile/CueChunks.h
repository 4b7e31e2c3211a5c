#pragma once

#include "audiofile/RawChunk.h"

#include <sndfile.h>

#include <vector>

namespace kalim
{

/// Cue points as the chunks of a WAV file: positions, and a list of labels if any has a name.
/// Written by ourselves, because the audio library leaves out the names, and in RF64 and W64 the
/// points as well.
std::vector<RawChunk> cueChunks(const std::vector<SF_CUE_POINT>& cues);

} // namespace kalim
