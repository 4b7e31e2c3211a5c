#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "kalim/report/SpectrumMeter.h"

#include <vector>

namespace kalim::program
{

/// Levels at one harmonic in dBFS, at the frequency in Hz at which it stood out before.
struct HarmonicLevels
{
    int number = 0;
    double frequency = 0.0;
    double before = 0.0;
    double after = 0.0;
};

/// Looks for the lines of the hum near the selected multiples of `fundamental` (Hz) and reads both
/// spectra, which must have been measured alike, at these lines. Harmonics above half the sample
/// rate are left out; all are where what was measured is too short to tell them apart.
std::vector<HarmonicLevels> measureHarmonics(const SpectrumMeter& before,
                                             const SpectrumMeter& after,
                                             orvo::audio::HarmonicSelection selection,
                                             double fundamental);

} // namespace kalim::program
