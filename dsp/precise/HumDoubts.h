#pragma once

#include "dsp/precise/HumSummary.h"

namespace orvo::audio::precise
{

/// Harmonics of a recording's hum that deserve a second look, in ascending order.
struct HumDoubts
{
    Series<int> unsure; ///< may be there by chance
    Series<int> notes;  ///< something else sounds on them
};

HumDoubts findDoubtfulHarmonics(const HumSummary& hum);

} // namespace orvo::audio::precise
