#include "tools/kalim/files/FlacBlocks.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kalim::program
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

constexpr std::array<std::string_view, 12> carriedTags{
    "TITLE",       "COPYRIGHT", "ENCODER", "SOFTWARE", "ARTIST",      "COMMENT",
    "DESCRIPTION", "DATE",      "ALBUM",   "LICENSE",  "TRACKNUMBER", "GENRE"};

struct Block
{
    int type;
    bool isLast;
    std::int64_t start;
    std::int64_t size;
};

std::vector<unsigned char> readBytes(int descriptor, std::int64_t offset, std::size_t count)
{
    std::vector<unsigned char> bytes(count);
    const auto got = pread(descriptor, bytes.data(), count, offset);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

/// The marker stands at the start or behind a tag of the ID3 kind that some programs prefix.
std::int64_t startOfBlocks(int descriptor)
{
    const auto start = readBytes(descriptor, 0, 10);
    if (start.size() < 10)
        return -1;
    std::int64_t offset = 0;
    if (start[0] == 'I' && start[1] == 'D' && start[2] == '3')
        offset = 10 + (start[6] << 21 | start[7] << 14 | start[8] << 7 | start[9]);
    const auto marker = readBytes(descriptor, offset, 4);
    const bool isFlac = std::ranges::equal(marker, std::string_view("fLaC"));
    return isFlac ? offset + 4 : -1;
}

std::optional<Block> blockAt(int descriptor, std::int64_t offset)
{
    const auto header = readBytes(descriptor, offset, 4);
    if (header.size() < 4)
        return {};
    const int size = header[1] << 16 | header[2] << 8 | header[3];
    return Block{header[0] & 0x7f, (header[0] & 0x80) != 0, offset + 4, size};
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

std::uint32_t littleEndian(std::span<const unsigned char> bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

/// The next string with its length in front, which is taken off the bytes.
std::optional<std::string> takeString(std::span<const unsigned char>& bytes)
{
    if (bytes.size() < 4 || littleEndian(bytes) > bytes.size() - 4)
        return {};
    const auto length = littleEndian(bytes);
    const auto text = bytes.subspan(4, length);
    bytes = bytes.subspan(4 + std::size_t{length});
    return std::string(text.begin(), text.end());
}

std::string tagName(const std::string& comment)
{
    auto name = comment.substr(0, comment.find('='));
    std::ranges::transform(name, name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return name;
}

std::vector<std::string> uncarriedTags(std::span<const unsigned char> bytes)
{
    std::vector<std::string> names;
    if (!takeString(bytes) || bytes.size() < 4)
        return names;
    bytes = bytes.subspan(4);
    while (const auto comment = takeString(bytes))
    {
        const auto name = tagName(*comment);
        const bool isNew = std::ranges::find(names, name) == names.end();
        if (isNew && std::ranges::find(carriedTags, name) == carriedTags.end())
            names.push_back(name);
    }
    return names;
}

std::string counted(std::ptrdiff_t count, std::string_view thing)
{
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
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

    std::vector<std::string> tags;
    for (const auto& block : blocks)
        if (block.type == comments)
            std::ranges::copy(uncarriedTags(readBytes(descriptor, block.start,
                                                      static_cast<std::size_t>(block.size))),
                              std::back_inserter(tags));
    if (!tags.empty())
        phrases.push_back(fmt::format("the tags {}", fmt::join(tags, ", ")));
    return phrases;
}

} // namespace kalim::program
