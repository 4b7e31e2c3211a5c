#pragma once

#include "dsp/precise/HumModel.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// The shape of a hum: what its harmonics are against each other.
struct HumPattern
{
    double fundamental;                 ///< Hz
    Series<Series<Complex>> amplitudes; ///< [channel][harmonic - 1], 0 for those without hum
};

/// The pattern of a model, as it is on average over the longest part without a change.
HumPattern learnPattern(const HumModel& model);

/// Gives the hum of a model the shape of a pattern of as many channels: between changes only phase
/// and level are those that were found, and harmonics that the pattern lacks are no hum.
void imposePattern(const HumPattern& pattern, HumModel& model);

} // namespace orvo::audio::precise
