#pragma once

#include "dsp/precise/PackedLines.h"
#include "dsp/precise/Series.h"

#include <array>

namespace orvo::audio::precise
{

/// Degrees of freedom of the noise: heavy tails, so that what is loud for a moment counts little.
inline constexpr float noiseFreedom = 2.0F;

/// A frame counts at most as if its noise were half of what was read.
inline constexpr float smallestNoiseFactor = 0.5F;

/// In later rounds the noise is what it would be for the error that was left, at least this share.
inline constexpr float smallestNoiseShare = 0.4F;
inline constexpr int reweightings = 3;

/// Sizes of the random walk that are tried side by side.
inline constexpr std::size_t numWalkSizes = 8;

using PerWalkSize = std::array<double, numWalkSizes>;

/// Lines that walk: the variance at the start, what a jump adds to it and what every frame adds,
/// one value per lane.
struct Walks
{
    const PackedLines& lines;
    Series<float> startVariances;
    Series<float> jumpVariances;
    Series<char> isSkipped; ///< [frame]
    Series<char> isJump;    ///< [frame], whether amplitudes jump before it
};

/// What a line holds over the frames that are not skipped.
struct LineStatistics
{
    double weightedPower; ///< mean of the power above the noise, weighted by 1 / noise
    double meanPower;
    double meanNoise;
    double absentLikelihood; ///< logarithm, over all frames, if there is no hum
};

Series<LineStatistics> getStatistics(const PackedLines& lines, const Series<char>& isSkipped);

/// Logarithms of the likelihood of each line for every size of the walk, whose variances per frame
/// are [size][lane]: a Kalman filter with noise of Student's t distribution for each. Skipped
/// frames count as if there were no hum in them, so that results with different ones can be
/// compared.
Series<PerWalkSize> getWalkLikelihoods(const Walks& walks,
                                       const std::array<Series<float>, numWalkSizes>& steps);

/// Estimates, arranged like the lines.
struct WalkEstimates
{
    Series<float> real;
    Series<float> imaginary;
    Series<float> variances;
    Series<double> evidence; ///< [line], against no hum, over the frames that `counts`
};

/// The likeliest amplitudes: a filter forward and a smoother backward, three times, each with the
/// noise that the errors of the time before speak for.
WalkEstimates smoothWalks(const Walks& walks, const Series<float>& steps,
                          const Series<char>& isLeftOut);

/// Only their evidence.
Series<double> getWalkEvidence(const Walks& walks, const Series<float>& steps,
                               const Series<char>& isLeftOut);

/// How far the estimates from two frames before and from one after differ, against their variance,
/// for each frame but those at the ends: the sum over lines, each `most` at most and times its
/// weight.
Series<double> getDisagreements(const Walks& walks, const Series<float>& steps,
                                const Series<float>& weights, float most);

} // namespace orvo::audio::precise
