#include "dsp/precise/Decimator.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/Decimator.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// Sum of the products; two sums at once, so that the processor need not wait for either.
HWY_ATTR float weigh(const float* samples, const float* weights, int count)
{
    const hn::ScalableTag<float> d;
    const auto lanes = static_cast<int>(hn::Lanes(d));
    auto even = hn::Zero(d);
    auto odd = hn::Zero(d);
    int i = 0;
    for (; i + 2 * lanes <= count; i += 2 * lanes)
    {
        even = hn::MulAdd(hn::LoadU(d, samples + i), hn::LoadU(d, weights + i), even);
        odd = hn::MulAdd(hn::LoadU(d, samples + i + lanes), hn::LoadU(d, weights + i + lanes), odd);
    }
    float sum = hn::GetLane(hn::SumOfLanes(d, hn::Add(even, odd)));
    for (; i < count; ++i)
        sum += samples[i] * weights[i];
    return sum;
}

HWY_ATTR void decimateKernel(const float* samples, int count, const Series<float>& taps, int factor,
                             Series<float>& result)
{
    const auto half = static_cast<int>(taps.size() / 2);
    for (std::size_t k = 0; k < result.size(); ++k)
    {
        const int centre = static_cast<int>(k) * factor;
        const int first = std::max(0, centre - half);
        const int last = std::min(count - 1, centre + half);
        result[k] = weigh(samples + first, &taps[half - centre + first], last - first + 1);
    }
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{
HWY_EXPORT(decimateKernel);

namespace
{

constexpr int halfPeriods = 12;
constexpr double kaiserShape = 8.0;
constexpr double edge = 0.95; // of half the new rate

} // namespace

Decimator::Decimator(int factorToUse)
    : factor(factorToUse)
{
    const int half = factor > 1 ? halfPeriods * factor : 0;
    double sum = 0.0;
    for (int i = -half; i <= half; ++i)
    {
        const double angle = std::numbers::pi * edge * i / factor;
        const double sinc = i == 0 ? 1.0 : std::sin(angle) / angle;
        const double position = half == 0 ? 0.0 : static_cast<double>(i) / half;
        const double tap = sinc * getKaiserWindow(position, kaiserShape);
        taps.push_back(static_cast<float>(tap));
        sum += tap;
    }
    for (float& tap : taps)
        tap /= static_cast<float>(sum);
}

Series<float> Decimator::process(const float* samples, int count) const
{
    Series<float> result(static_cast<std::size_t>((count + factor - 1) / factor));
    HWY_DYNAMIC_DISPATCH(decimateKernel)(samples, count, taps, factor, result);
    return result;
}

} // namespace orvo::audio::precise

#endif
