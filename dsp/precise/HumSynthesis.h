#pragma once

#include "dsp/precise/HumModel.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Plays the hum of a model, whose lines have the channels of `view`. Each frame's amplitudes make
/// a table of one period, which is read along the track; between frames the two nearest are
/// blended. Where the hum changes at once the tables switch at the sample after which least energy
/// remains in the sound. Gives one run of samples per channel, the length of the stretch.
Series<Series<float>> synthesise(const HumModel& model, const ChannelView& view);

} // namespace orvo::audio::precise
