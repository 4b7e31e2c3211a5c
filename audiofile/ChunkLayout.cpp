#include "audiofile/ChunkLayout.h"

#include "audiofile/FileBytes.h"

#include <algorithm>
#include <string_view>

namespace kalim
{
namespace
{

/// W64 makes its identifiers of four characters and a fixed rest; the outermost is an exception.
constexpr std::string_view wave64Tail("\xf3\xac\xd3\x11\x8c\xd1\x00\xc0\x4f\x8e\xdb\x8a", 12);
constexpr std::string_view wave64Start("riff\x2e\x91\xcf\x11\xa5\xd6\x28\xdb\x04\xc1\x00\x00", 16);

constexpr std::size_t longIdBytes = 16;

void appendText(std::vector<std::byte>& bytes, std::string_view text)
{
    std::ranges::transform(text, std::back_inserter(bytes),
                           [](char c) { return static_cast<std::byte>(c); });
}

ChunkLayout largeRiffLayout()
{
    auto layout = riffLayout(false);
    layout.hasLargeSizes = true;
    return layout;
}

} // namespace

std::int64_t ChunkLayout::aligned(std::int64_t offset) const
{
    return (offset + alignment - 1) / alignment * alignment;
}

std::uint64_t ChunkLayout::number(std::span<const std::byte> bytes) const
{
    return isBigEndian ? bigEndian(bytes) : littleEndian(bytes);
}

std::vector<std::byte> ChunkLayout::bytes(std::uint64_t number, std::size_t count) const
{
    std::vector<std::byte> result(count);
    for (std::size_t i = 0; i < count; ++i)
        result[isBigEndian ? count - 1 - i : i] = static_cast<std::byte>(number >> (8 * i) & 0xffU);
    return result;
}

std::string ChunkLayout::identifier(std::span<const std::byte> bytes) const
{
    const auto text = asText(bytes.first(idBytes));
    const bool isUsual = text.size() == 4 || text.substr(4) == wave64Tail;
    return std::string(isUsual ? text.substr(0, 4) : text);
}

std::vector<std::byte> ChunkLayout::serialised(const std::string& id,
                                               std::span<const std::byte> data) const
{
    std::vector<std::byte> result;
    appendText(result, id);
    if (idBytes == longIdBytes && id.size() == 4)
        appendText(result, wave64Tail);
    const auto counted = data.size() + (sizeCountsHeader ? idBytes + sizeBytes : 0);
    const auto size = bytes(counted, sizeBytes);
    result.insert(result.end(), size.begin(), size.end());
    result.insert(result.end(), data.begin(), data.end());
    result.resize(static_cast<std::size_t>(aligned(static_cast<std::int64_t>(result.size()))));
    return result;
}

ChunkLayout riffLayout(bool isBigEndian)
{
    return {ChunkFamily::riff, isBigEndian, false, 12, 4, 4, false, 2};
}

ChunkLayout layoutOf(ChunkFamily family, bool isBigEndian)
{
    switch (family)
    {
    case ChunkFamily::aiff:
        return {family, true, false, 12, 4, 4, false, 2};
    case ChunkFamily::caf:
        return {family, true, false, 8, 4, 8, false, 1};
    case ChunkFamily::wave64:
        return {family, false, false, 40, longIdBytes, 8, true, 8};
    case ChunkFamily::riff:
        break;
    }
    return riffLayout(isBigEndian);
}

std::optional<ChunkLayout> chunkLayoutOf(int descriptor)
{
    const auto start = readBytesAt(descriptor, 0, 16);
    const auto text = asText(start);
    if (text.size() < 16)
        return {};
    const auto kind = text.substr(8, 4);
    if (kind == "WAVE" && (text.starts_with("RIFF") || text.starts_with("RIFX")))
        return riffLayout(text[3] == 'X');
    if (text.starts_with("RF64") || text.starts_with("BW64"))
        return largeRiffLayout();
    if (text.starts_with("FORM") && kind.starts_with("AIF"))
        return layoutOf(ChunkFamily::aiff, true);
    if (text.starts_with("caff"))
        return layoutOf(ChunkFamily::caf, true);
    if (text == wave64Start)
        return layoutOf(ChunkFamily::wave64, false);
    return {};
}

} // namespace kalim
