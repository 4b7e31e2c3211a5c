#pragma once

#include <algorithm>
#include <array>
#include <cmath>

namespace orvo::audio::precise
{

/// What the mains of the world aim at, in Hz.
inline constexpr std::array mainsFrequencies{50.0, 60.0};

/// How far a frequency is from the nearer of them, in Hz.
inline double getMainsOffset(double frequency)
{
    double offset = std::abs(frequency - mainsFrequencies.front());
    for (const double mains : mainsFrequencies)
        offset = std::min(offset, std::abs(frequency - mains));
    return offset;
}

} // namespace orvo::audio::precise
