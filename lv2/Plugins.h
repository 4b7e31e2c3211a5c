#pragma once

#include "lv2/Controls.h"

#include <array>
#include <cstddef>

namespace kalim::lv2
{

/// How a plug-in removes hum: by the engine, or by the live form of precise removal.
enum class Method
{
    tracking,
    precise
};

/// One of the bundle's plug-ins.
struct PluginKind
{
    /// Known to sessions and scripts, and so never changed.
    const char* uri;

    /// What hosts show.
    const char* name;

    Method method;
    int numChannels;

    constexpr std::span<const Control> getControls() const
    {
        if (method == Method::tracking)
            return trackingControls;
        return preciseControls;
    }
};

inline constexpr std::array<PluginKind, 10> plugins{
    {{"urn:orvotech:kalim-tracking-mono", "Kalim Tracking Mono", Method::tracking, 1},
     {"urn:orvotech:kalim-tracking-stereo", "Kalim Tracking Stereo", Method::tracking, 2},
     {"urn:orvotech:kalim-tracking-4", "Kalim Tracking 4 Channels", Method::tracking, 4},
     {"urn:orvotech:kalim-tracking-6", "Kalim Tracking 6 Channels", Method::tracking, 6},
     {"urn:orvotech:kalim-tracking-8", "Kalim Tracking 8 Channels", Method::tracking, 8},
     {"urn:orvotech:kalim-precise-mono", "Kalim Precise Mono", Method::precise, 1},
     {"urn:orvotech:kalim-precise-stereo", "Kalim Precise Stereo", Method::precise, 2},
     {"urn:orvotech:kalim-precise-4", "Kalim Precise 4 Channels", Method::precise, 4},
     {"urn:orvotech:kalim-precise-6", "Kalim Precise 6 Channels", Method::precise, 6},
     {"urn:orvotech:kalim-precise-8", "Kalim Precise 8 Channels", Method::precise, 8}}};

/// The order of a plug-in's ports: audio in, audio out, three of its own, the controls of its
/// method. What is added later comes last.
struct PortOrder
{
    constexpr explicit PortOrder(const PluginKind& kind)
        : numChannels(static_cast<std::size_t>(kind.numChannels))
        , numControls(kind.getControls().size())
    {
    }

    constexpr std::size_t getInput(std::size_t channel) const { return channel; }

    constexpr std::size_t getOutput(std::size_t channel) const { return numChannels + channel; }

    /// Input: above 0 hum is removed, at 0 the sound passes as late as otherwise.
    constexpr std::size_t getEnabled() const { return 2 * numChannels; }

    /// Output: the samples by which the sound is late.
    constexpr std::size_t getLatency() const { return 2 * numChannels + 1; }

    /// Output: the fundamental that is followed in Hz, 0 where there is none.
    constexpr std::size_t getFundamental() const { return 2 * numChannels + 2; }

    constexpr std::size_t getControl(std::size_t index) const
    {
        return 2 * numChannels + 3 + index;
    }

    constexpr std::size_t getCount() const { return getControl(numControls); }

    std::size_t numChannels;
    std::size_t numControls;
};

} // namespace kalim::lv2
