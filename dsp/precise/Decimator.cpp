#include "dsp/precise/Decimator.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvo::audio::precise
{
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
    const auto half = static_cast<int>(taps.size() / 2);
    Series<float> result(static_cast<std::size_t>((count + factor - 1) / factor));
    for (std::size_t k = 0; k < result.size(); ++k)
    {
        const int centre = static_cast<int>(k) * factor;
        const int first = std::max(0, centre - half);
        const int last = std::min(count - 1, centre + half);
        const float* const weights = &taps[half - centre + first];
        // Four sums at once, which the processor adds side by side.
        float sums[4] = {};
        int i = 0;
        for (; i + 4 <= last - first + 1; i += 4)
            for (int j = 0; j < 4; ++j)
                sums[j] += samples[first + i + j] * weights[i + j];
        for (; i <= last - first; ++i)
            sums[0] += samples[first + i] * weights[i];
        result[k] = sums[0] + sums[1] + sums[2] + sums[3];
    }
    return result;
}

} // namespace orvo::audio::precise
