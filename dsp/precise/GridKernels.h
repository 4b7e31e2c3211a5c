#pragma once

#include "dsp/precise/HarmonicLines.h"
#include "dsp/precise/Series.h"

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

/// Adds `value` times each of `count` turns, from `first` of them on, to the sums.
void addTurned(Complex value, const SplitComplex<float>& turns, std::size_t first, int count,
               SplitComplex<float>& sums);

/// Multiplies each of `count` products by 1 + scale |value - expected|^2, for the expected values
/// from `first` on.
void multiplyErrors(Complex value, const SplitComplex<double>& expected, std::size_t first,
                    int count, double scale, double* products);

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
