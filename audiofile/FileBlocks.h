#pragma once

#include "audiofile/SampleSource.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace kalim
{

/// Reads a range of a file in large blocks, for whoever walks through all of it in small steps.
class FileBlocks
{
public:
    explicit FileBlocks(const FileRange& range);

    std::int64_t getLength() const { return range.length; }

    /// Up to so many bytes at an offset of the range, fewer at its end; at most mostBytes. Valid
    /// until the next call. Throws std::system_error when the disk fails.
    std::span<const std::byte> at(std::int64_t offset, std::int64_t count);

    /// The first place of a text from an offset on, negative if there is none.
    std::int64_t find(std::string_view text, std::int64_t offset);

    static constexpr std::int64_t mostBytes = std::int64_t{1} << 18;

private:
    FileRange range;
    std::vector<std::byte> block;
    std::int64_t blockStart = 0;
};

} // namespace kalim
