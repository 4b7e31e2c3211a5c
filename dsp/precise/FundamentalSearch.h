#pragma once

#include "dsp/precise/HarmonicLines.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Constant deviations in Hz from the track of `lines` at which the harmonics stand still best over
/// windows of 2, 4 and 8 seconds: some for each, the better ones first within it; none where there
/// is silence. Deviations reach 0.7 % of `fundamental`.
Series<double> findConstantDeviations(const HarmonicLines& lines, double fundamental);

/// How a moving fundamental deviates from the track, in Hz per frame.
enum class Refinement
{
    Wide, ///< up to 0.7 % of the fundamental away
    Near  ///< up to 0.16 %, more finely
};

/// The likeliest path of the deviation: over windows of a second the harmonics are turned back by
/// each of many deviations and summed against their noise, and dynamic programming finds the path
/// on which they add up most while its steps stay small.
Series<double> followDeviation(const HarmonicLines& lines, double fundamental,
                               Refinement refinement);

} // namespace orvo::audio::precise
