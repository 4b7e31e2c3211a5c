#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Lines of hum stand still on its track. One that turns all the time does so for a note beside it,
/// too near to be told from it within a frame; so does one that moves while most others stand
/// still. Of such a line that remains which does not move over a long stretch; of one that turns
/// without it, nothing.
void holdLinesStill(HumModel& model);

} // namespace orvo::audio::precise
