#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Lines of hum stand still on its track; one that turns all the time does so for a note beside it,
/// too near to be told from it within a frame. Of such a line that remains which does stand still
/// over a long stretch, or nothing.
void holdTurningLines(HumModel& model);

} // namespace orvo::audio::precise
