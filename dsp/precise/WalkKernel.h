#pragma once

#include "dsp/precise/HarmonicLines.h"
#include "dsp/precise/Series.h"

#include <array>

namespace orvo::audio::precise
{

/// Degrees of freedom of the noise: heavy tails, so that what is loud for a moment counts little.
inline constexpr double noiseFreedom = 2.0;

/// A frame counts at most as if its noise were half of what was read.
inline constexpr double smallestNoiseFactor = 0.5;

/// Sizes of the random walk that are tried side by side.
inline constexpr std::size_t numWalkSizes = 8;

using PerWalkSize = std::array<double, numWalkSizes>;

/// One line over all frames, and how it may walk.
struct LineWalk
{
    const Complex* amplitudes; ///< of the first frame
    const double* noise;
    std::size_t stride; ///< values from frame to frame
    int numFrames;
    const char* isSkipped; ///< [frame]
    const char* isJump;    ///< [frame], whether the amplitude jumps before it
    double jumpVariance;
    double startVariance;
    PerWalkSize stepVariances;
};

/// Logarithms of the likelihood of a line for every size of the walk: a Kalman filter with noise of
/// Student's t distribution for each. Skipped frames count as if there were no hum in them, so that
/// results with different ones can be compared. All lines have the same number of frames.
Series<PerWalkSize> getWalkLikelihoods(const Series<LineWalk>& lines);

} // namespace orvo::audio::precise
