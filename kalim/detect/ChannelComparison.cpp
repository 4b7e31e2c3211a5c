#include "kalim/detect/ChannelComparison.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace kalim::program
{
namespace
{

/// -90 dBFS, one step of 16 bits: dither alone reaches no further.
constexpr float silence = 0x1p-15F;

/// Parts a group by its samples.
std::vector<std::vector<int>> parted(const std::vector<int>& group, const float* const* channels,
                                     int numSamples)
{
    std::vector<std::vector<int>> parts;
    for (const int channel : group)
    {
        const auto isLike = [&](const std::vector<int>& part) {
            return std::equal(channels[channel], channels[channel] + numSamples,
                              channels[part.front()]);
        };
        const auto found = std::ranges::find_if(parts, isLike);
        if (found == parts.end())
            parts.push_back({channel});
        else
            found->push_back(channel);
    }
    return parts;
}

} // namespace

ChannelComparison::ChannelComparison(int numChannels)
    : peaks(static_cast<std::size_t>(numChannels))
    , groups(1, std::vector<int>(static_cast<std::size_t>(numChannels)))
{
    std::iota(groups.front().begin(), groups.front().end(), 0);
}

void ChannelComparison::add(const float* const* channels, int numSamples)
{
    for (std::size_t channel = 0; channel < peaks.size(); ++channel)
        for (int n = 0; n < numSamples; ++n)
            peaks[channel] = std::max(peaks[channel], std::abs(channels[channel][n]));
    std::vector<std::vector<int>> next;
    for (const std::vector<int>& group : groups)
        for (std::vector<int>& part : parted(group, channels, numSamples))
            if (part.size() > 1)
                next.push_back(std::move(part));
    groups = std::move(next);
}

bool ChannelComparison::isSilent(int channel) const
{
    return peaks[static_cast<std::size_t>(channel)] <= silence;
}

std::vector<int> ChannelComparison::getSilent() const
{
    std::vector<int> silent;
    for (int channel = 0; channel < static_cast<int>(peaks.size()); ++channel)
        if (isSilent(channel))
            silent.push_back(channel);
    return silent;
}

std::vector<std::vector<int>> ChannelComparison::getEqual() const
{
    std::vector<std::vector<int>> equal;
    for (const std::vector<int>& group : groups)
        if (!isSilent(group.front()))
            equal.push_back(group);
    std::ranges::sort(equal);
    return equal;
}

} // namespace kalim::program
