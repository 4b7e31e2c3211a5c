// Compiled once for every instruction set, hence no #pragma once.
#if defined(KALIM_PRECISE_WALK_FILTER) == defined(HWY_TARGET_TOGGLE)
#ifdef KALIM_PRECISE_WALK_FILTER
#undef KALIM_PRECISE_WALK_FILTER
#else
#define KALIM_PRECISE_WALK_FILTER
#endif

#include "dsp/precise/WalkKernel.h"

#include <hwy/highway.h>

#include <cmath>
#include <numbers>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, PackedLines::width>;
using Integers = hn::RebindToSigned<Floats>;
using Vector = hn::Vec<Floats>;

constexpr Floats d;
constexpr float tiny = 1e-30F;

HWY_INLINE Vector set(float value)
{
    return hn::Set(d, value);
}

/// Sum of logarithms: a product whose binary exponents are set aside before they run out of range.
class Logarithms
{
public:
    HWY_INLINE Logarithms()
        : product(set(1.0F))
        , exponents(hn::Zero(Integers()))
    {
    }

    HWY_INLINE void add(Vector factor) { product = hn::Mul(product, factor); }

    HWY_INLINE void setExponentsAside()
    {
        const Integers i32;
        const auto bits = hn::BitCast(i32, product);
        exponents = hn::Add(exponents, hn::ShiftRight<mantissaBits>(bits));
        const auto mantissa = hn::And(bits, hn::Set(i32, (1 << mantissaBits) - 1));
        product = hn::BitCast(d, hn::Or(mantissa, hn::Set(i32, exponentOfOne << mantissaBits)));
        ++numTimes;
    }

    HWY_INLINE void store(double factor, double* sums) const
    {
        HWY_ALIGN float products[PackedLines::width];
        HWY_ALIGN std::int32_t all[PackedLines::width];
        hn::Store(product, d, products);
        hn::Store(exponents, Integers(), all);
        for (std::size_t lane = 0; lane < hn::Lanes(d); ++lane)
            sums[lane] += factor * (std::log(static_cast<double>(products[lane])) +
                                    (all[lane] - numTimes * exponentOfOne) * std::numbers::ln2);
    }

private:
    static constexpr int mantissaBits = 23;
    static constexpr int exponentOfOne = 127;

    Vector product;
    hn::Vec<Integers> exponents;
    int numTimes = 0;
};

/// Sum of the logarithms of Student's t density (of two degrees of freedom and two dimensions) but
/// for a constant: of total^2 / tail^3, tail being the total and half of the squared error.
class Likelihood
{
public:
    HWY_INLINE Likelihood() {}

    HWY_INLINE void add(int frame, Vector total, Vector tail)
    {
        totals.add(total);
        tails.add(tail);
        if (frame % 2 == 1) // products of two stay within range
        {
            totals.setExponentsAside();
            tails.setExponentsAside();
        }
    }

    HWY_INLINE void store(double* sums) const
    {
        totals.store(2.0, sums);
        tails.store(-3.0, sums);
    }

private:
    Logarithms totals;
    Logarithms tails;
};

/// What was read in one frame of as many lines as a vector holds.
struct Reading
{
    HWY_INLINE Reading(const PackedLines& lines, std::size_t at)
        : real(hn::LoadU(d, &lines.real[at]))
        , imaginary(hn::LoadU(d, &lines.imaginary[at]))
        , noise(hn::LoadU(d, &lines.noise[at]))
    {
    }

    HWY_INLINE Vector getPower() const
    {
        return hn::MulAdd(real, real, hn::Mul(imaginary, imaginary));
    }

    HWY_INLINE Vector getDistance(Vector otherReal, Vector otherImaginary) const
    {
        const Vector x = hn::Sub(real, otherReal);
        const Vector y = hn::Sub(imaginary, otherImaginary);
        return hn::MulAdd(x, x, hn::Mul(y, y));
    }

    Vector real;
    Vector imaginary;
    Vector noise;
};

/// Kalman filters of a random walk, one per lane.
struct Filter
{
    HWY_INLINE explicit Filter(Vector startVariance)
        : variance(startVariance)
        , real(hn::Zero(d))
        , imaginary(hn::Zero(d))
    {
    }

    HWY_INLINE Filter(Vector varianceToUse, Vector realToUse, Vector imaginaryToUse)
        : variance(varianceToUse)
        , real(realToUse)
        , imaginary(imaginaryToUse)
    {
    }

    HWY_INLINE void predict(Vector step) { variance = hn::Add(variance, step); }

    HWY_INLINE void update(const Reading& reading, Vector share)
    {
        const Vector weighted = hn::Mul(reading.noise, share);
        const Vector inverse = hn::Div(set(1.0F), hn::Add(variance, weighted));
        const Vector gain = hn::Mul(variance, inverse);
        real = hn::MulAdd(gain, hn::Sub(reading.real, real), real);
        imaginary = hn::MulAdd(gain, hn::Sub(reading.imaginary, imaginary), imaginary);
        variance = hn::Mul(gain, weighted);
    }

    /// With noise that is heavier the larger the error; gives total and tail of its likelihood.
    HWY_INLINE void updateRobustly(const Reading& reading, Vector& total, Vector& tail)
    {
        total = hn::Add(variance, reading.noise);
        tail = hn::MulAdd(reading.getDistance(real, imaginary), set(1.0F / noiseFreedom), total);
        const Vector share = hn::Max(hn::Mul(tail, set(noiseFreedom / (noiseFreedom + 1.0F))),
                                     hn::Mul(total, set(smallestNoiseFactor)));
        const Vector weighted = hn::Mul(reading.noise, share);
        const Vector inverse = hn::Div(set(1.0F), hn::MulAdd(variance, total, weighted));
        const Vector gain = hn::Mul(hn::Mul(variance, total), inverse);
        real = hn::MulAdd(gain, hn::Sub(reading.real, real), real);
        imaginary = hn::MulAdd(gain, hn::Sub(reading.imaginary, imaginary), imaginary);
        variance = hn::Mul(variance, hn::Mul(weighted, inverse));
    }

    Vector variance;
    Vector real;
    Vector imaginary;
};

/// Calls `work(first lane, place of its first value)` for as many lanes at once as a vector holds.
template <typename Work>
HWY_INLINE void forEachVector(const PackedLines& lines, const Work& work)
{
    const auto lanes = static_cast<int>(hn::Lanes(d));
    for (int lane = 0; lane < lines.numLines; lane += lanes)
        work(lane, lines.at(lane));
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif
