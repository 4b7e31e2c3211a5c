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

using Floats = hn::CappedTag<float, 16>;

/// Sums of `length` values times waves [value][width], for as many frequencies as a vector holds
/// and eight channels, whose values follow each other: so often every wave that is read is used.
HWY_ATTR void sumGroup(const float* values, const float* waves, int length, int width, float* sums)
{
    constexpr int group = 8;
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

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{
HWY_EXPORT(sumKernel);

namespace
{

constexpr std::size_t channelGroup = 8;
constexpr int widest = 16; // no vector holds more

} // namespace

FrameSums::FrameSums(Series<float> windowToUse)
    : window(std::move(windowToUse))
    , length(static_cast<int>(window.size()))
{
}

void FrameSums::makeWaves(const Series<double>& frequencies)
{
    width = (static_cast<int>(frequencies.size()) + widest - 1) / widest * widest;
    waves.real.resize(indexOf(length, width));
    waves.imaginary.resize(waves.real.size());
    for (std::size_t k = 0; k < frequencies.size(); ++k)
    {
        const Complex turn = std::polar(1.0, 2.0 * std::numbers::pi * frequencies[k]);
        Complex wave = 1.0;
        for (int i = 0; i < length; ++i)
        {
            waves.set(indexOf(i, width) + k, static_cast<double>(window[i]) * wave);
            wave = multiply(wave, turn);
        }
    }
}

void FrameSums::fold(const float* samples, int numSamples, int centre, std::size_t place)
{
    const auto get = [=](int at) { return at >= 0 && at < numSamples ? samples[at] : 0.0F; };
    even[place] = get(centre);
    odd[place] = 0.0F;
    for (int i = 1; i < length; ++i)
    {
        const float before = get(centre - i);
        const float after = get(centre + i);
        even[place + static_cast<std::size_t>(i)] = after + before;
        odd[place + static_cast<std::size_t>(i)] = after - before;
    }
}

void FrameSums::read(const Series<const float*>& channels, int numSamples, int centre,
                     const Series<double>& frequencies)
{
    makeWaves(frequencies);
    const std::size_t padded = (channels.size() + channelGroup - 1) / channelGroup * channelGroup;
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
