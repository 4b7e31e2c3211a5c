#include "kalim/Stretch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace kalim::program
{

Stretch::Stretch(const std::optional<TimeRange>& range, std::int64_t length, int sampleRate)
    : first(range ? std::llround(range->start * sampleRate) : 0)
    , last(range ? std::llround(range->end * sampleRate) : length)
{
    if (last > length)
        throw std::invalid_argument(fmt::format("the recording is only {:.3f} s long",
                                                static_cast<double>(length) / sampleRate));
}

std::span<const float> Stretch::cut(std::span<const float> interleaved, std::int64_t position,
                                    int channels) const
{
    const std::int64_t count = static_cast<std::int64_t>(interleaved.size()) / channels;
    const std::int64_t from = std::clamp<std::int64_t>(first - position, 0, count);
    const std::int64_t to = std::clamp<std::int64_t>(last - position, from, count);
    return interleaved.subspan(static_cast<std::size_t>(from * channels),
                               static_cast<std::size_t>((to - from) * channels));
}

} // namespace kalim::program
