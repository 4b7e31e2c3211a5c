#pragma once

#include <array>

namespace orvo::audio
{

/// The state of a second-order filter that starts from rest and is run `numPasses` times over the
/// same `period` samples, in closed form from `afterOnePass`, its state after the first pass: with
/// M the filter's state transition over a period, the sum of M^k afterOnePass for k below
/// numPasses.
std::array<double, 2> repeatPasses(std::array<double, 2> afterOnePass, double a1, double a2,
                                   int period, int numPasses);

} // namespace orvo::audio
