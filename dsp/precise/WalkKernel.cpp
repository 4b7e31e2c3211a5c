#include "dsp/precise/WalkKernel.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/WalkKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::CappedTag<double, numWalkSizes>;
using Vector = hn::Vec<Doubles>;

/// Products of so many factors stay within range before their exponents are set aside.
constexpr int framesPerCollection = 4;

/// The filters of as many sizes as a vector holds.
class Filters
{
public:
    HWY_INLINE Filters(const LineWalk& line, std::size_t first)
        : step(hn::LoadU(d, &line.stepVariances[first]))
        , jump(hn::Set(d, line.jumpVariance))
        , variance(hn::Set(d, line.startVariance))
    {
    }

    HWY_INLINE void predict(bool isJump)
    {
        variance = hn::Add(variance, step);
        if (isJump)
            variance = hn::Add(variance, jump);
    }

    HWY_INLINE void skip(double power, double around)
    {
        multiplyIn(hn::Set(d, around), hn::Set(d, power / around));
    }

    HWY_INLINE void update(Complex value, double around)
    {
        const Vector noise = hn::Set(d, around);
        const Vector total = hn::Add(variance, noise);
        const Vector realError = hn::Sub(hn::Set(d, value.real()), real);
        const Vector imaginaryError = hn::Sub(hn::Set(d, value.imag()), imaginary);
        const Vector power =
            hn::Add(hn::Mul(realError, realError), hn::Mul(imaginaryError, imaginaryError));
        const Vector ratio = hn::Div(power, total);
        multiplyIn(total, ratio);
        const Vector factor = hn::Max(hn::Mul(hn::Add(ratio, hn::Set(d, noiseFreedom)),
                                              hn::Set(d, 1.0 / (noiseFreedom + 1.0))),
                                      hn::Set(d, smallestNoiseFactor));
        const Vector gain = hn::Div(variance, hn::Add(variance, hn::Mul(noise, factor)));
        real = hn::Add(real, hn::Mul(gain, realError));
        imaginary = hn::Add(imaginary, hn::Mul(gain, imaginaryError));
        variance = hn::Sub(variance, hn::Mul(gain, variance));
    }

    /// Sets the binary exponents of the products aside.
    HWY_INLINE void collect()
    {
        const hn::RebindToSigned<Doubles> i64;
        const auto bits = hn::BitCast(i64, product);
        const auto exponent = hn::ShiftRight<mantissaBits>(bits);
        exponents = hn::Add(exponents, exponent);
        const auto one = hn::Set(i64, exponentOfOne << mantissaBits);
        const auto mantissa = hn::And(bits, hn::Set(i64, (std::int64_t{1} << mantissaBits) - 1));
        product = hn::BitCast(d, hn::Or(mantissa, one));
        ++numCollections;
    }

    HWY_INLINE void store(double* likelihoods) const
    {
        HWY_ALIGN double products[numWalkSizes];
        HWY_ALIGN std::int64_t sums[numWalkSizes];
        const hn::RebindToSigned<Doubles> i64;
        hn::Store(product, d, products);
        hn::Store(exponents, i64, sums);
        for (std::size_t lane = 0; lane < hn::Lanes(d); ++lane)
            likelihoods[lane] =
                -std::log(products[lane]) -
                static_cast<double>(sums[lane] - numCollections * exponentOfOne) * std::log(2.0);
    }

private:
    static constexpr int mantissaBits = 52;
    static constexpr std::int64_t exponentOfOne = 1023;

    /// The reciprocal of the density of Student's t for a squared error of `ratio` times `total`.
    HWY_INLINE void multiplyIn(Vector total, Vector ratio)
    {
        const Vector tail =
            hn::Add(hn::Mul(ratio, hn::Set(d, 1.0 / noiseFreedom)), hn::Set(d, 1.0));
        product = hn::Mul(hn::Mul(product, total), hn::Mul(tail, hn::Mul(tail, tail)));
    }

    Doubles d;
    Vector step;
    Vector jump;
    Vector variance;
    Vector real = hn::Zero(d);
    Vector imaginary = hn::Zero(d);
    Vector product = hn::Set(d, 1.0);
    hn::Vec<hn::RebindToSigned<Doubles>> exponents = hn::Zero(hn::RebindToSigned<Doubles>());
    std::int64_t numCollections = 0;
};

HWY_INLINE void advance(Filters& filters, const LineWalk& line, int frame)
{
    const std::size_t at = static_cast<std::size_t>(frame) * line.stride;
    const Complex value = line.amplitudes[at];
    filters.predict(line.isJump[frame] != 0);
    if (line.isSkipped[frame] != 0)
        filters.skip(getPower(value), line.noise[at]);
    else
        filters.update(value, line.noise[at]);
    if (frame % framesPerCollection == framesPerCollection - 1)
        filters.collect();
}

/// Two lines together, so that the processor has other work while one waits for its division.
HWY_ATTR void getWalkLikelihoodsKernel(const LineWalk& low, const LineWalk& high,
                                       double* likelihoodsLow, double* likelihoodsHigh)
{
    for (std::size_t first = 0; first < numWalkSizes; first += hn::Lanes(Doubles()))
    {
        Filters lowFilters(low, first);
        Filters highFilters(high, first);
        for (int frame = 0; frame < low.numFrames; ++frame)
        {
            advance(lowFilters, low, frame);
            advance(highFilters, high, frame);
        }
        lowFilters.store(likelihoodsLow + first);
        highFilters.store(likelihoodsHigh + first);
    }
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(getWalkLikelihoodsKernel);

Series<PerWalkSize> getWalkLikelihoods(const Series<LineWalk>& lines)
{
    Series<PerWalkSize> likelihoods(lines.size());
    for (std::size_t i = 0; i < lines.size(); i += 2)
    {
        const std::size_t next = std::min(i + 1, lines.size() - 1);
        HWY_DYNAMIC_DISPATCH(getWalkLikelihoodsKernel)
        (lines[i], lines[next], likelihoods[i].data(), likelihoods[next].data());
    }
    return likelihoods;
}

} // namespace orvo::audio::precise

#endif
