#include "audiofile/FlacBlocks.h"

#include "audiofile/FileBytes.h"
#include "audiofile/Id3Frames.h"
#include "audiofile/VorbisComments.h"
#include "base/Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kalim
{
namespace
{

enum BlockType : std::uint8_t
{
    application = 2,
    comments = 4,
    cueSheet = 5,
    picture = 6
};

struct Block
{
    int type;
    bool isLast;
    std::int64_t start;
    std::int64_t size;
};

/// The marker stands at the start or behind a tag of the ID3 kind that some programs prefix.
std::int64_t startOfBlocks(int descriptor)
{
    const auto offset = endOfId3Tag(descriptor);
    const auto marker = readBytesAt(descriptor, offset, 4);
    return asText(marker) == "fLaC" ? offset + 4 : -1;
}

std::optional<Block> blockAt(int descriptor, std::int64_t offset)
{
    const auto header = readBytesAt(descriptor, offset, 4);
    if (header.size() < 4)
        return {};
    const auto first = std::to_integer<int>(header[0]);
    const auto size = static_cast<std::int64_t>(bigEndian(std::span(header).subspan(1)));
    return Block{first & 0x7f, (first & 0x80) != 0, offset + 4, size};
}

std::vector<Block> blocksOf(int descriptor)
{
    std::vector<Block> blocks;
    auto offset = startOfBlocks(descriptor);
    while (offset >= 0)
    {
        const auto block = blockAt(descriptor, offset);
        if (!block)
            break;
        blocks.push_back(*block);
        offset = block->isLast ? -1 : block->start + block->size;
    }
    return blocks;
}

} // namespace

std::vector<std::string> uncarriedFlacBlocks(int descriptor)
{
    const auto blocks = blocksOf(descriptor);
    std::vector<std::string> phrases;
    const auto count = [&](BlockType type, std::string_view thing)
    {
        if (const auto found = std::ranges::count(blocks, static_cast<int>(type), &Block::type))
            phrases.push_back(counted(found, thing));
    };
    count(picture, "picture");
    count(cueSheet, "cue sheet");
    count(application, "application block");

    for (const auto& block : blocks)
        if (block.type == comments)
            std::ranges::copy(
                uncarriedVorbisComments(readBytesAt(descriptor, block.start, block.size)),
                std::back_inserter(phrases));
    return phrases;
}

} // namespace kalim
