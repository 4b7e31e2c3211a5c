#pragma once

#include <string_view>

namespace kalim::program
{

/// A stretch of a recording in seconds, from its start.
struct TimeRange
{
    double start = 0.0;
    double end = 0.0;
};

/// Reads "START:END" in seconds, START below END. Throws std::invalid_argument with a line that
/// says what is wrong.
TimeRange parseTimeRange(std::string_view text);

} // namespace kalim::program
