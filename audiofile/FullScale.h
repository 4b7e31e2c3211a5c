#pragma once

#include "audiofile/AudioFileReader.h"

namespace kalim
{

/// What counts as full scale in a file: 1, but where floating-point samples are integers in truth,
/// as some programs write them, 2^15, 2^23 or 2^31. Looks at pieces of all of the file, and goes
/// back to its start. A damaged file is looked at as far as it can be read.
double fullScaleOf(AudioFileReader& reader);

} // namespace kalim
