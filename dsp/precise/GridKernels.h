#pragma once

#include "dsp/precise/HarmonicLines.h"
#include "dsp/precise/Series.h"

#include <array>

namespace orvo::audio::precise
{

/// Complex values with their parts apart, so that the processor can take several at once.
template <typename Real>
struct SplitComplex
{
    explicit SplitComplex(std::size_t count = 0)
        : real(count)
        , imaginary(count)
    {
    }

    void set(std::size_t index, Complex value)
    {
        real[index] = static_cast<Real>(value.real());
        imaginary[index] = static_cast<Real>(value.imag());
    }

    Series<Real> real;
    Series<Real> imaginary;
};

/// Multiplies values by others, one by one.
void multiplyInPlace(SplitComplex<float>& values, const SplitComplex<float>& factors);

/// How well readings, each over its noise, add up when they are turned back: adds to each of
/// `count` scores s / (1 + s / most), s being the power of the sum of readings[i] turns[i][index],
/// over `weights`. Turns are from `first` on, [reading][index].
///
/// One window or a group of them: their readings are [window][reading], their scores
/// [window][index]. The turns take more memory than the processor has near it, and are read once
/// for a group.
struct TurnedReadings
{
    static constexpr int group = 4;

    const SplitComplex<float>& readings;
    const SplitComplex<float>& turns;
    std::size_t first;
    std::array<double, group> weights; ///< [window]
    double most;
};

void addScores(const TurnedReadings& turned, bool isGroup, int numReadings, int count,
               float* scores);

/// For each place of `best` the origin among `gains` that gains most where a move costs `cost`
/// times its square, and what it gains.
void findOrigins(const Series<double>& gains, double cost, Series<double>& best, float* origins);

/// Where a phase may come from: itself; with a cost of `drift` those beside it; with one of `leap`
/// the phase `top`; or at a given gain the state `outside`.
struct PhaseOrigins
{
    double drift;
    double leap;
    int top;
    int outside;
    double gainOutside;
};

/// The same for `count` phases of a circle, whose last comes before the first of `gains` again, and
/// the first after the last.
void findPhaseOrigins(const double* gains, int count, const PhaseOrigins& from, double* best,
                      float* origins);

/// Multiplies each of `count` products by 1 + scale |value - expected|^2, for the expected values
/// from `first` on.
void multiplyErrors(Complex value, const SplitComplex<double>& expected, std::size_t first,
                    int count, double scale, double* products);

/// Lines of one frame, as many as make whole groups of `group`: what was read, its noise and what
/// is expected before it is turned; lines that are missing are silent and of harmonic 0.
struct FrameLines
{
    static constexpr int group = 16;

    const float* real;
    const float* imaginary;
    const float* noise;
    const float* expectedReal;
    const float* expectedImaginary;
    const float* harmonics;
    int count;
};

/// Gradient and information of phase and logarithm of the gain.
struct MotionStep
{
    double turn = 0.0;
    double turnInformation = 0.0;
    double growth = 0.0;
    double growthInformation = 0.0;
};

/// One Gauss-Newton step over all lines of a frame, whose expected values are multiplied by
/// `turns`; noise is heavier the larger the error (Student's t of two degrees of freedom), and at
/// least `leastShare` of the expected power.
MotionStep measureStep(const FrameLines& lines, const SplitComplex<float>& turns, float leastShare);

/// What a line of a frame says about its gain.
struct GainEvidence
{
    double power;         ///< of what was read
    double expectedPower; ///< at a gain of 1
    double likeness;      ///< real part of what was read times the conjugate of what is expected
    double noise;
    double patternError; ///< share of the expected power by which the pattern may be wrong
};

/// Multiplies each of `count` products by 1 + the squared error at that gain over its noise.
void multiplyGainErrors(const GainEvidence& evidence, const double* gains, int count,
                        double* products);

/// Subtracts `factor` times the logarithm of each product from its score, and makes it 1.
void collectLogarithms(double factor, int count, double* products, double* scores);

} // namespace orvo::audio::precise
