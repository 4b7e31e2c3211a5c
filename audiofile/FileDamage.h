#pragma once

#include "audiofile/AudioFileReader.h"

#include <string>
#include <vector>

namespace kalim
{

/// Signs that less is read than was recorded, although all that is there can be read: a file that
/// was cut short, whose recorder was cut off, or parts of which no decoder reaches. One line each,
/// such as "the file is cut short: 1.0 of 3.0 s are there, 192000 bytes are missing". Files whose
/// size was never known, as programs write them to a pipe, have none. What was found while the file
/// was opened is among them. Reads Ogg files as a whole. Throws std::system_error when the disk
/// fails.
std::vector<FileNote> damagesOf(const AudioFileReader& reader);

} // namespace kalim
