#pragma once

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace kalim::program
{

/// "1:30", "1:06:40"
inline std::string timeText(double seconds)
{
    const auto total = std::lround(seconds);
    if (total >= 3600)
        return fmt::format("{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60);
    return fmt::format("{}:{:02}", total / 60, total % 60);
}

} // namespace kalim::program
