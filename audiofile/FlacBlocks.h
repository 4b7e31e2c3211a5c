#pragma once

#include <string>
#include <vector>

namespace kalim
{

/// What a FLAC file holds beside its samples and the tags that the audio library carries: pictures,
/// cue sheets, blocks of other programs, further tags. One phrase each, such as "2 pictures"; empty
/// for a file that is no FLAC.
/// @param descriptor open for reading; its position stays as it is
std::vector<std::string> uncarriedFlacBlocks(int descriptor);

} // namespace kalim
