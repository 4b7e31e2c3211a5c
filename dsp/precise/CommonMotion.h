#pragma once

#include "dsp/precise/AmplitudeSmoother.h"
#include "dsp/precise/PathSmoother.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Either way, natural logarithm; 60 dB, for recordings are faded out to nothing.
inline constexpr double largestLogGain = 7.0;

/// What is followed: the phase, the gain of lines that may turn as they will, or both.
enum class Motion
{
    Phase,
    Gain,
    PhaseAndGain
};

/// What all harmonics do together, frame by frame.
struct CommonMotion
{
    SmoothPath phase;       ///< radians of the fundamental and radians per second
    Series<double> logGain; ///< natural logarithm
};

/// Measures the phase and the gain that all present lines share, or one of them, against the
/// pattern that they form on average: four Gauss-Newton steps per frame over all lines, each
/// weighted by its noise, then smoothed over time. The phase is smoothed together with `base`, the
/// radians by which the track itself runs ahead of a constant fundamental; `phase` includes it.
/// Both may leap at the jumps of the amplitudes, the phase also at `restarts`.
///
/// `lines` are against the track and of the gain found so far; at least one line must be present.
CommonMotion measureMotion(Motion motion, const HarmonicLines& lines, const Series<char>& isSkipped,
                           const SmoothAmplitudes& smooth, const Series<int>& restarts,
                           const Series<double>& base);

} // namespace orvo::audio::precise
