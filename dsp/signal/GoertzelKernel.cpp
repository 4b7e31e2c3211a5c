#include "dsp/signal/VectorKernels.h"
#include "dsp/signal/VectorOperations.h"

#include <cmath>
#include <complex>
#include <numbers>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/signal/GoertzelKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::vo::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::ScalableTag<double>;
using HalfFloats = hn::Rebind<float, Doubles>;

/// Lane r runs the recursion over samples r, r + K, r + 2K, ... at K times the frequency; the lanes
/// are then turned to the phase of the first sample and added.
std::complex<double> calcGoertzelKernel(const float* src, std::size_t n, double radiansPerSample)
{
    constexpr std::size_t numVectors = 4;
    const Doubles d;
    const HalfFloats f;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t stride = numVectors * lanes;
    const double radiansPerStep = radiansPerSample * static_cast<double>(stride);
    const auto coefficient = hn::Set(d, 2.0 * std::cos(radiansPerStep));
    const std::size_t numSteps = n / stride;

    const auto zero = hn::Zero(d);
    auto a1 = zero, b1 = zero, c1 = zero, e1 = zero;
    auto a2 = zero, b2 = zero, c2 = zero, e2 = zero;
    const auto advance = [&](const float* x, auto& w1, auto& w2)
    {
        const auto w0 = hn::MulAdd(coefficient, w1, hn::Sub(hn::PromoteTo(d, hn::LoadU(f, x)), w2));
        w2 = w1;
        w1 = w0;
    };
    for (const float* x = src; x != src + numSteps * stride; x += stride)
    {
        advance(x, a1, a2);
        advance(x + lanes, b1, b2);
        advance(x + 2 * lanes, c1, c2);
        advance(x + 3 * lanes, e1, e2);
    }

    constexpr std::size_t maxStride = numVectors * hn::MaxLanes(Doubles());
    HWY_ALIGN double w1[maxStride];
    HWY_ALIGN double w2[maxStride];
    hn::Store(a1, d, w1), hn::Store(b1, d, w1 + lanes);
    hn::Store(c1, d, w1 + 2 * lanes), hn::Store(e1, d, w1 + 3 * lanes);
    hn::Store(a2, d, w2), hn::Store(b2, d, w2 + lanes);
    hn::Store(c2, d, w2 + 2 * lanes), hn::Store(e2, d, w2 + 3 * lanes);

    std::complex<double> sum = 0.0;
    const std::complex<double> oneStepBack = std::polar(1.0, -radiansPerStep);
    const double stepsToStart = static_cast<double>(numSteps) - 1.0;
    for (std::size_t lane = 0; numSteps > 0 && lane < stride; ++lane)
    {
        const double turn =
            -(radiansPerStep * stepsToStart + radiansPerSample * static_cast<double>(lane));
        sum += (w1[lane] - oneStepBack * w2[lane]) * std::polar(1.0, turn);
    }
    for (std::size_t k = numSteps * stride; k < n; ++k)
        sum += static_cast<double>(src[k]) *
               std::polar(1.0, -radiansPerSample * static_cast<double>(k));
    return sum;
}

} // namespace orvo::vo::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::vo
{

HWY_EXPORT(calcGoertzelKernel);

std::complex<float> calcGoertzel(const float* src, int n, float relativeFrequency)
{
    if (!hasWork(n, {src}))
        return {};
    if (!(relativeFrequency >= 0.0F && relativeFrequency < 1.0F))
        throwOnError(Status::relativeFrequency);
    const double radiansPerSample = 2.0 * std::numbers::pi * static_cast<double>(relativeFrequency);
    const std::complex<double> bin = HWY_DYNAMIC_DISPATCH(calcGoertzelKernel)(
        src, static_cast<std::size_t>(n), radiansPerSample);
    // Adding zero turns -0 into +0, so that silence always has phase 0.
    return {static_cast<float>(bin.real()) + 0.0F, static_cast<float>(bin.imag()) + 0.0F};
}

} // namespace orvo::vo

#endif
