#pragma once

#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// A value that moves with a wandering speed.
struct SmoothPath
{
    Series<double> values;
    Series<double> speeds; ///< per second
    double wander = 0.0;   ///< variance that the speed gains per second
};

/// Smooths measurements `frameTime` seconds apart with the given variances by a filter of value and
/// speed (a constant-velocity model; Bar-Shalom, Li and Kirubarajan, "Estimation with Applications
/// to Tracking and Navigation", 2001, section 6.3) under noise of Student's t distribution, forward
/// and backward. How much the speed wanders is the likeliest power of ten from 1e-7 to
/// 10^`largestExponent`. At frames marked as restarted the value may leap while the speed goes on.
SmoothPath smoothPath(const Series<double>& measured, const Series<double>& variances,
                      const Series<char>& isRestarted, double frameTime, int largestExponent);

} // namespace orvo::audio::precise
