#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// What is known of a fundamental beside the mains frequencies.
struct OddFundamental
{
    double mean;   ///< Hz
    double spread; ///< from the lowest to the highest, Hz
};

/// Whether such a hum can come from a tape at a wrong speed, and is no bass note, played again and
/// again or held by an organ: hum of a tape wanders, but its lines stay what they are.
/// `evidence` is that of each line, which speaks for as much as it has.
bool isHumOfTape(const HumModel& model, const OddFundamental& fundamental,
                 const Series<double>& evidence);

} // namespace orvo::audio::precise
