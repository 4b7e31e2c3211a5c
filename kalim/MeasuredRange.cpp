#include "kalim/MeasuredRange.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace kalim::program
{
namespace
{

/// NaN for anything but a number.
double parseSeconds(std::string_view text)
{
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end ? value : std::nan("");
}

} // namespace

MeasuredRange parseMeasuredRange(std::string_view text)
{
    const std::size_t colon = text.find(':');
    if (colon != std::string_view::npos)
    {
        const MeasuredRange range{parseSeconds(text.substr(0, colon)),
                                  parseSeconds(text.substr(colon + 1))};
        if (range.start >= 0.0 && range.end > range.start && std::isfinite(range.end))
            return range;
    }
    throw std::invalid_argument(fmt::format(
        "'{}' is no range of seconds such as 2:7.5, with the start before the end", text));
}

MeasuredSamples::MeasuredSamples(const std::optional<MeasuredRange>& range, std::int64_t length,
                                 int sampleRate)
    : first(range ? std::llround(range->start * sampleRate) : 0)
    , last(range ? std::llround(range->end * sampleRate) : length)
{
    if (last > length)
        throw std::invalid_argument(fmt::format("the recording is only {:.3f} s long",
                                                static_cast<double>(length) / sampleRate));
}

std::span<const float> MeasuredSamples::cut(std::span<const float> interleaved,
                                            std::int64_t position, int channels) const
{
    const std::int64_t count = static_cast<std::int64_t>(interleaved.size()) / channels;
    const std::int64_t from = std::clamp<std::int64_t>(first - position, 0, count);
    const std::int64_t to = std::clamp<std::int64_t>(last - position, from, count);
    return interleaved.subspan(static_cast<std::size_t>(from * channels),
                               static_cast<std::size_t>((to - from) * channels));
}

} // namespace kalim::program
