#include "dsp/precise/FrameSums.h"

#include <algorithm>
#include <numbers>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/FrameSums.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, FrameSums::rowGroup>;

/// Sums of `length` values times waves [value][width], for as many frequencies as a vector holds
/// and a group of channels, whose values follow each other.
HWY_ATTR void sumGroup(const float* values, const float* waves, int length, int width, float* sums)
{
    constexpr int group = FrameSums::channelGroup;
    const Floats d;
    hn::Vec<Floats> totals[group];
    for (auto& total : totals)
        total = hn::Zero(d);
    for (int i = 0; i < length; ++i)
    {
        const auto wave = hn::LoadU(d, waves + i * width);
        for (int channel = 0; channel < group; ++channel)
            totals[channel] =
                hn::MulAdd(wave, hn::Set(d, values[channel * length + i]), totals[channel]);
    }
    for (int channel = 0; channel < group; ++channel)
        hn::StoreU(totals[channel], d, sums + channel * width);
}

HWY_ATTR void sumKernel(const float* values, const float* waves, int length, int width, float* sums)
{
    for (int i = 0; i < width; i += static_cast<int>(hn::Lanes(Floats())))
        sumGroup(values, waves + i, length, width, sums + i);
}

/// Sums and differences of what lies after the middle and before it, for `length` values of either
/// half, which is no less than a vector holds: the last vector takes some values again.
HWY_ATTR void foldKernel(const float* middle, int length, float* sums, float* differences)
{
    const Floats d;
    const auto lanes = static_cast<int>(hn::Lanes(d));
    for (int i = 0; i < length; i += lanes)
    {
        const int first = std::min(i, length - lanes);
        const auto after = hn::LoadU(d, middle + first);
        const auto before = hn::Reverse(d, hn::LoadU(d, middle - first - (lanes - 1)));
        hn::StoreU(hn::Add(after, before), d, sums + first);
        hn::StoreU(hn::Sub(after, before), d, differences + first);
    }
    sums[0] = middle[0];
    differences[0] = 0.0F;
}

/// Puts values times a weight into a row of waves and turns them on.
HWY_ATTR void turnKernel(const SplitComplex<double>& turns, float weight,
                         SplitComplex<double>& values, float* cosines, float* sines)
{
    const hn::CappedTag<double, FrameSums::rowGroup> d;
    const hn::Rebind<float, decltype(d)> single;
    const auto scale = hn::Set(d, static_cast<double>(weight));
    for (std::size_t i = 0; i < values.real.size(); i += hn::Lanes(d))
    {
        const auto a = hn::LoadU(d, &values.real[i]);
        const auto b = hn::LoadU(d, &values.imaginary[i]);
        const auto x = hn::LoadU(d, &turns.real[i]);
        const auto y = hn::LoadU(d, &turns.imaginary[i]);
        hn::StoreU(hn::DemoteTo(single, hn::Mul(a, scale)), single, cosines + i);
        hn::StoreU(hn::DemoteTo(single, hn::Mul(b, scale)), single, sines + i);
        hn::StoreU(hn::NegMulAdd(b, y, hn::Mul(a, x)), d, &values.real[i]);
        hn::StoreU(hn::MulAdd(a, y, hn::Mul(b, x)), d, &values.imaginary[i]);
    }
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{
HWY_EXPORT(foldKernel);
HWY_EXPORT(sumKernel);
HWY_EXPORT(turnKernel);

namespace
{

constexpr std::size_t roundUp(std::size_t count, std::size_t group)
{
    return (count + group - 1) / group * group;
}

} // namespace

FrameSums::FrameSums(Series<float> windowToUse)
    : window(std::move(windowToUse))
    , length(static_cast<int>(window.size()))
{
}

void FrameSums::makeWaves(const Series<double>& frequencies)
{
    width = static_cast<int>(roundUp(frequencies.size(), rowGroup));
    waves.real.resize(indexOf(length, width));
    waves.imaginary.resize(waves.real.size());
    turns = SplitComplex<double>(static_cast<std::size_t>(width));
    turning = turns;
    for (std::size_t k = 0; k < frequencies.size(); ++k)
    {
        turns.set(k, std::polar(1.0, 2.0 * std::numbers::pi * frequencies[k]));
        turning.set(k, 1.0);
    }
    for (int i = 0; i < length; ++i)
        HWY_DYNAMIC_DISPATCH(turnKernel)
    (turns, window[i], turning, &waves.real[indexOf(i, width)],
     &waves.imaginary[indexOf(i, width)]);
}

void FrameSums::fold(const float* samples, int numSamples, int centre, std::size_t place)
{
    float* const sumsOfHalves = &even[place];
    float* const differences = &odd[place];
    const float* const middle = samples + centre;
    const int before = std::min(centre, length - 1);
    const int after = std::min(numSamples - 1 - centre, length - 1);
    if (before == length - 1 && after == length - 1 && length >= rowGroup)
    {
        HWY_DYNAMIC_DISPATCH(foldKernel)(middle, length, sumsOfHalves, differences);
        return;
    }
    std::fill_n(sumsOfHalves, length, 0.0F);
    std::fill_n(differences, length, 0.0F);
    for (int i = 0; i <= after; ++i)
        sumsOfHalves[i] = differences[i] = middle[i];
    differences[0] = 0.0F;
    for (int i = 1; i <= before; ++i)
    {
        sumsOfHalves[i] += middle[-i];
        differences[i] -= middle[-i];
    }
}

void FrameSums::read(const Series<const float*>& channels, int numSamples, int centre,
                     const Series<double>& frequencies)
{
    makeWaves(frequencies);
    const std::size_t padded = roundUp(channels.size(), channelGroup);
    even.resize(padded * window.size());
    odd.resize(even.size());
    sums.real.resize(padded * static_cast<std::size_t>(width));
    sums.imaginary.resize(sums.real.size());
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        fold(channels[channel], numSamples, centre, channel * window.size());
    for (std::size_t channel = 0; channel < padded; channel += channelGroup)
    {
        const std::size_t from = channel * window.size();
        const std::size_t to = channel * static_cast<std::size_t>(width);
        HWY_DYNAMIC_DISPATCH(sumKernel)
        (&even[from], waves.real.data(), length, width, &sums.real[to]);
        HWY_DYNAMIC_DISPATCH(sumKernel)
        (&odd[from], waves.imaginary.data(), length, width, &sums.imaginary[to]);
    }
}

} // namespace orvo::audio::precise

#endif
