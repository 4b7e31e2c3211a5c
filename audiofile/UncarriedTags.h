#pragma once

#include "audiofile/AudioFileReader.h"

#include <string>
#include <vector>

namespace kalim
{

/// What a FLAC, Ogg, Opus or MP3 file holds beside its samples and the tags that the audio library
/// carries: pictures, further tags, blocks of other programs. One phrase each, such as
/// "2 pictures"; empty for files of other kinds.
std::vector<std::string> uncarriedTags(const AudioFileReader& reader);

} // namespace kalim
