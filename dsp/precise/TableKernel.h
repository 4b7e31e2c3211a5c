#pragma once

#include "dsp/precise/GridKernels.h"
#include "dsp/precise/Series.h"

#include <array>
#include <cstdint>

namespace orvo::audio::precise
{

/// Samples that are made at once.
inline constexpr int tableChunk = 512;

/// What is left of a cubic polynomial c0 + t (c1 + t (c2 + t c3)) when whole numbers are taken off,
/// for t = first, first + step and so on.
void getFractions(const std::array<double, 4>& coefficients, double first, double step, int count,
                  double* fractions);

/// Adds real cosines[i] - imaginary sines[i].
void addWave(float real, float imaginary, const float* cosines, const float* sines, int count,
             float* values);

/// Places in a table: the point before, and the share of the way to the next.
struct TablePlaces
{
    std::array<std::int32_t, tableChunk> points;
    std::array<float, tableChunk> shares;
};

/// Places at phases in cycles from 0 to 1, for a table of `size` points.
void findPlaces(const std::array<double, tableChunk>& phases, int size, TablePlaces& places);

/// Reads two tables at places and goes from one to the other: `weight` is the share of the second
/// at the first sample, held between 0 and 1, and grows by `weightStep`. Cubic interpolation
/// through four points (Catmull and Rom, "A class of local interpolating splines", 1974); tables
/// start one point early and end two late.
void readTables(const float* now, const float* next, const TablePlaces& places, float weight,
                float weightStep, std::array<float, tableChunk>& result);

/// Amplitudes of the first harmonics, and by how much they are others at the next frame.
struct MovingAmplitudes
{
    SplitComplex<float> now;
    SplitComplex<float> step;
};

/// The sum over harmonics of the real part of amplitude times wave, for `count` samples; waves are
/// [harmonic][sample of tableChunk]. The weight is the share of the step, as for tables.
void addHarmonics(const MovingAmplitudes& amplitudes, const SplitComplex<float>& waves,
                  float weight, float weightStep, int count, std::array<float, tableChunk>& result);

} // namespace orvo::audio::precise
