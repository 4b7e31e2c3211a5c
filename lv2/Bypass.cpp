#include "lv2/Bypass.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kalim::lv2
{
namespace
{

constexpr double fadeSeconds = 0.005;

} // namespace

void Bypass::prepare(double sampleRate, std::size_t numChannels, int longestBlock, int longestDelay)
{
    const std::size_t size = std::bit_ceil(static_cast<std::size_t>(longestBlock) +
                                           static_cast<std::size_t>(longestDelay));
    rings.assign(numChannels, std::vector<float>(size));
    mask = size - 1;
    shares.assign(static_cast<std::size_t>(longestBlock), 1.0F);
    // A power of two, so that the share arrives at its end exactly.
    const auto length = static_cast<unsigned>(std::lround(fadeSeconds * sampleRate));
    step = 1.0F / static_cast<float>(std::bit_ceil(std::clamp(length, 1U, 1U << 20U)));
}

void Bypass::reset(bool isEnabled)
{
    for (auto& ring : rings)
        std::ranges::fill(ring, 0.0F);
    position = 0;
    share = isEnabled ? 1.0F : 0.0F;
    numHeld = 0;
}

void Bypass::hold(int numSamples)
{
    numHeld = std::max(numHeld, numSamples);
}

void Bypass::add(std::span<const float* const> input, int numSamples)
{
    const auto count = static_cast<std::size_t>(numSamples);
    for (std::size_t channel = 0; channel < rings.size(); ++channel)
        for (std::size_t n = 0; n < count; ++n)
            rings[channel][(position + n) & mask] = input[channel][n];
    position += count;
}

void Bypass::advance(int numSamples, bool isEnabled)
{
    for (std::size_t n = 0; n < static_cast<std::size_t>(numSamples); ++n)
    {
        if (numHeld > 0)
        {
            --numHeld;
            share = 0.0F;
        }
        else
            share = std::clamp(share + (isEnabled ? step : -step), 0.0F, 1.0F);
        shares[n] = share;
    }
}

void Bypass::mix(std::span<float* const> made, std::span<float* const> output, int numSamples,
                 int delay, bool isEnabled)
{
    advance(numSamples, isEnabled);
    const auto count = static_cast<std::size_t>(numSamples);
    const std::size_t start = position - count - static_cast<std::size_t>(delay);
    for (std::size_t channel = 0; channel < rings.size(); ++channel)
        for (std::size_t n = 0; n < count; ++n)
        {
            // Each side alone is itself to the last bit, also beside NaN.
            const float late = rings[channel][(start + n) & mask];
            const float other = made[channel][n];
            const float part = shares[n];
            output[channel][n] = part == 1.0F   ? other
                                 : part == 0.0F ? late
                                                : late + part * (other - late);
        }
}

} // namespace kalim::lv2
