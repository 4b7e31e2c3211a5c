#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Adds to a model the lines that partials beside them cover. Frames are too short to tell a
/// harmonic from a partial 10 Hz away; half a second along a known track is not, and hum hardly
/// moves in that time. Lines that the model has are estimated anew where they are covered and
/// become clearer. A partial within 2 Hz of a harmonic is not told from it but by its beating.
void addCoveredLines(HumModel& model);

} // namespace orvo::audio::precise
