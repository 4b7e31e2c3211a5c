#include "dsp/precise/Decimator.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#ifndef KALIM_DECIMATION
#define KALIM_DECIMATION

namespace orvo::audio::precise
{

struct Decimation
{
    int factor;
    int half; // taps on either side of the middle one
};

/// Taps are made up to a multiple of so many by zeros, so that vectors never end within them.
constexpr std::size_t tapGroup = 32;

} // namespace orvo::audio::precise

#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/Decimator.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// Sum of the products of as many values as make whole pairs of vectors.
HWY_ATTR float weigh(const float* samples, const float* weights, std::size_t count)
{
    const hn::CappedTag<float, tapGroup / 2> d;
    auto even = hn::Zero(d);
    auto odd = hn::Zero(d);
    for (std::size_t i = 0; i < count; i += 2 * hn::Lanes(d))
    {
        const std::size_t j = i + hn::Lanes(d);
        even = hn::MulAdd(hn::LoadU(d, samples + i), hn::LoadU(d, weights + i), even);
        odd = hn::MulAdd(hn::LoadU(d, samples + j), hn::LoadU(d, weights + j), odd);
    }
    return hn::GetLane(hn::SumOfLanes(d, hn::Add(even, odd)));
}

HWY_ATTR void decimateKernel(const float* samples, int count, const Series<float>& taps,
                             Decimation decimation, Series<float>& result)
{
    const auto numTaps = static_cast<int>(taps.size());
    for (std::size_t k = 0; k < result.size(); ++k)
    {
        const int first = static_cast<int>(k) * decimation.factor - decimation.half;
        if (first >= 0 && first + numTaps <= count)
            result[k] = weigh(samples + first, taps.data(), taps.size());
        else
            for (int i = std::max(0, -first); i < std::min(numTaps, count - first); ++i)
                result[k] += samples[first + i] * taps[i];
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

constexpr double kaiserShape = 8.0;
constexpr double edge = 0.95; // of half the new rate

int getHalf(int factor)
{
    return factor > 1 ? decimationReach * factor : 0;
}

} // namespace

Series<float> makeDecimationTaps(int factor)
{
    const int half = getHalf(factor);
    Series<float> taps;
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
    taps.resize((taps.size() + tapGroup - 1) / tapGroup * tapGroup);
    return taps;
}

Decimator::Decimator(int factorToUse)
    : factor(factorToUse)
    , half(getHalf(factor))
    , taps(makeDecimationTaps(factor))
{
}

Series<float> Decimator::process(const float* samples, int count) const
{
    Series<float> result(static_cast<std::size_t>((count + factor - 1) / factor));
    HWY_DYNAMIC_DISPATCH(decimateKernel)(samples, count, taps, {factor, half}, result);
    return result;
}

} // namespace orvo::audio::precise

#endif
