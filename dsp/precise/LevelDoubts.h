#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Lowers the hum at moments when the sound speaks against its level: where, by the lines taken
/// together, less of it or none is far likelier than what was fitted to the stretch as a whole.
/// That happens where something louder covered a change, or passed for one.
void lowerDoubtfulMoments(HumModel& model);

} // namespace orvo::audio::precise
