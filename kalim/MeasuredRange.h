#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kalim::program
{

/// The part of a recording to measure, in seconds from its start.
struct MeasuredRange
{
    double start = 0.0;
    double end = 0.0;
};

/// Reads "START:END" in seconds, START below END. Throws std::invalid_argument with a line that
/// says what is wrong.
MeasuredRange parseMeasuredRange(std::string_view text);

/// The part of one recording that is measured, in samples per channel.
class MeasuredSamples
{
public:
    /// All of a recording of `length` samples at `sampleRate` Hz, or the range given. Throws
    /// std::invalid_argument with a line for the user when the range reaches past the end.
    MeasuredSamples(const std::optional<MeasuredRange>& range, std::int64_t length, int sampleRate);

    std::int64_t getFirst() const { return first; }

    std::int64_t getLength() const { return last - first; }

    bool contains(std::int64_t position) const { return first <= position && position < last; }

    /// What of a piece of interleaved samples that starts at `position` lies within.
    std::span<const float> cut(std::span<const float> interleaved, std::int64_t position,
                               int channels) const;

private:
    std::int64_t first;
    std::int64_t last;
};

} // namespace kalim::program
