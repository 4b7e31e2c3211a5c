#include "kalim/TimeRange.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace kalim::program
{
namespace
{

/// Not-a-number where the text is no number.
double parseSeconds(std::string_view text)
{
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end ? value : std::nan("");
}

} // namespace

TimeRange parseTimeRange(std::string_view text)
{
    const std::size_t colon = text.find(':');
    if (colon != std::string_view::npos)
    {
        const TimeRange range{parseSeconds(text.substr(0, colon)),
                              parseSeconds(text.substr(colon + 1))};
        if (range.start >= 0.0 && range.end > range.start && std::isfinite(range.end))
            return range;
    }
    throw std::invalid_argument(fmt::format(
        "'{}' is no range of seconds such as 2:7.5, with the start before the end", text));
}

} // namespace kalim::program
