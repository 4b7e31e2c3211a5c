#pragma once

#include "dsp/precise/ComplexMath.h"

namespace orvo::audio::precise
{

/// Rows of values, and what each of them counts.
struct WeightedRows
{
    const double* const* rows;
    const double* weights;
    int numRows;
};

/// Sums the rows up over `divisor`, for `count` values.
void sumRows(const WeightedRows& rows, double divisor, int count, double* sums);

/// Power of the distance of each of `count` values from the sum of the rows, which hold real and
/// imaginary parts side by side.
void getDistances(const WeightedRows& rows, const Complex* values, int count, double* powers);

} // namespace orvo::audio::precise
