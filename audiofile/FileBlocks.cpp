#include "audiofile/FileBlocks.h"

#include "audiofile/FileBytes.h"

#include <algorithm>

namespace kalim
{

FileBlocks::FileBlocks(const FileRange& fileRange)
    : range(fileRange)
{
    const auto rest = std::max<std::int64_t>(fileSizeOf(range.descriptor) - range.start, 0);
    range.length = std::clamp<std::int64_t>(range.length, 0, rest);
}

std::span<const std::byte> FileBlocks::at(std::int64_t offset, std::int64_t count)
{
    const auto wanted = std::clamp<std::int64_t>(range.length - offset, 0, count);
    if (wanted == 0 || offset < 0)
        return {};
    const auto end = blockStart + std::ssize(block);
    if (offset < blockStart || offset + wanted > end)
    {
        block = readBytesAt(range.descriptor, range.start + offset,
                            std::min(mostBytes, range.length - offset));
        blockStart = offset;
    }
    const auto first = static_cast<std::size_t>(offset - blockStart);
    const auto there = std::min(static_cast<std::size_t>(wanted), block.size() - first);
    return std::span<const std::byte>(block).subspan(first, there);
}

std::int64_t FileBlocks::find(std::string_view text, std::int64_t offset)
{
    const auto length = static_cast<std::int64_t>(text.size());
    while (offset + length <= range.length)
    {
        // What is in memory already comes first.
        const auto there = blockStart + std::ssize(block) - offset;
        const auto count = offset >= blockStart && there >= length ? there : mostBytes;
        const auto bytes = at(offset, count);
        if (std::ssize(bytes) < length)
            break;
        const auto found = asText(bytes).find(text);
        if (found != std::string_view::npos)
            return offset + static_cast<std::int64_t>(found);
        offset += std::ssize(bytes) - length + 1;
    }
    return -1;
}

} // namespace kalim
