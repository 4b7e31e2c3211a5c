#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "kalim/report/SegmentSpectra.h"

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace kalim::program
{

/// Averages the power spectrum of a recording as it streams by, over overlapping Hann-windowed
/// segments of some seconds and over all channels.
/// (P. D. Welch, "The Use of Fast Fourier Transform for the Estimation of Power Spectra", 1967.)
/// Levels are in dBFS, with 0 for a sine of full scale down to -200; what is
/// no louder is silence.
class SpectrumMeter
{
public:
    static constexpr double silence = -std::numeric_limits<double>::infinity();

    /// `numSamples` per channel will come at most; fewer than a segment make the segments shorter.
    SpectrumMeter(int channels, int sampleRate, std::int64_t numSamples);

    /// Takes the next interleaved samples.
    void add(std::span<const float> interleaved);

    /// Takes the samples since the last full segment, filled up with silence. Call once, at the
    /// end.
    void finish();

    /// How far apart two lines must be, in Hz, to be seen as two.
    double getResolution() const;

    /// Hz between bins.
    double getBinSpacing() const { return binSpacing; }

    /// Level of every bin as that of a sine in its centre.
    std::vector<double> getLevels() const;

private:
    void take(std::span<const double> measured);

    SegmentSpectra segments;
    double binSpacing;
    std::vector<double> power;
    std::int64_t numSegments = 0;
};

/// Levels at one harmonic in dBFS, at the frequency in Hz at which it stood out before.
struct HarmonicLevels
{
    /// 1 for the fundamental.
    int number = 1;
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
