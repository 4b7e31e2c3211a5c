#include "audiofile/Id3Frames.h"

#include "audiofile/FileBytes.h"
#include "audiofile/TagInventory.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace kalim
{
namespace
{

/// With the names of version 2.2, which have three letters; length and encoder say nothing of the
/// output.
constexpr std::array<std::string_view, 21> carriedFrames{
    "tit2", "tpe1", "talb", "trck", "tcon", "tcop", "comm", "tyer", "tdrc", "tsse", "tenc",
    "tt2",  "tp1",  "tal",  "trk",  "tco",  "tcr",  "com",  "tye",  "tss",  "tlen"};

constexpr std::array<std::string_view, 2> pictureFrames{"apic", "pic"};

constexpr std::int64_t headerBytes = 10;

using Bytes = std::span<const std::byte>;

struct Header
{
    int version;
    unsigned flags;
    std::int64_t size;

    bool isUnsynchronised() const { return (flags & 0x80U) != 0 && version < 4; }

    bool isExtended() const { return (flags & 0x40U) != 0 && version > 2; }
};

/// Numbers of seven bits a byte, which never look like the start of sound.
std::size_t sevenBitNumber(Bytes bytes)
{
    std::size_t number = 0;
    for (const auto byte : bytes)
        number = number << 7 | (std::to_integer<std::size_t>(byte) & 0x7fU);
    return number;
}

std::optional<Header> headerOf(int descriptor)
{
    const auto bytes = readBytesAt(descriptor, 0, headerBytes);
    if (!asText(bytes).starts_with("ID3") || std::ssize(bytes) < headerBytes)
        return {};
    return Header{std::to_integer<int>(bytes[3]), std::to_integer<unsigned>(bytes[5]),
                  static_cast<std::int64_t>(sevenBitNumber(Bytes(bytes).subspan(6)))};
}

/// Takes out the zeros that were put in so that nothing looks like the start of sound.
std::vector<std::byte> resynchronised(Bytes bytes)
{
    std::vector<std::byte> result;
    bool isAfterOnes = false;
    for (const auto byte : bytes)
    {
        if (!isAfterOnes || byte != std::byte{0})
            result.push_back(byte);
        isAfterOnes = byte == std::byte{0xff};
    }
    return result;
}

Bytes withoutFirst(Bytes bytes, std::size_t count)
{
    return bytes.subspan(std::min(count, bytes.size()));
}

Bytes withoutExtendedHeader(Bytes bytes, int version)
{
    constexpr std::size_t sizeBytes = 4;
    const auto field = bytes.first(std::min(sizeBytes, bytes.size()));
    return withoutFirst(bytes, version == 3 ? sizeBytes + bigEndian(field) : sevenBitNumber(field));
}

bool isFrameName(std::string_view name)
{
    return std::ranges::all_of(name, [](char c)
                               { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

/// Frames follow one another until padding or damage.
std::vector<std::string> frameNames(Bytes bytes, int version)
{
    const std::size_t nameBytes = version == 2 ? 3 : 4;
    const std::size_t frameHeader = version == 2 ? 6 : 10;
    std::vector<std::string> names;
    while (bytes.size() >= frameHeader)
    {
        const auto name = asText(bytes.first(nameBytes));
        if (!isFrameName(name))
            break;
        names.emplace_back(name);
        const auto size = bytes.subspan(nameBytes, nameBytes);
        const auto dataBytes = version == 4 ? sevenBitNumber(size) : bigEndian(size);
        bytes = withoutFirst(bytes, frameHeader + dataBytes);
    }
    return names;
}

} // namespace

std::int64_t endOfId3Tag(int descriptor)
{
    const auto header = headerOf(descriptor);
    return header ? headerBytes + header->size : 0;
}

std::vector<std::string> uncarriedId3Frames(int descriptor)
{
    const auto header = headerOf(descriptor);
    if (!header || header->version < 2 || header->version > 4)
        return {};
    auto bytes = readBytesAt(descriptor, headerBytes, header->size);
    if (header->isUnsynchronised())
        bytes = resynchronised(bytes);
    const auto frames =
        header->isExtended() ? withoutExtendedHeader(bytes, header->version) : Bytes(bytes);
    TagInventory inventory(carriedFrames, pictureFrames);
    for (const auto& name : frameNames(frames, header->version))
        inventory.add(name);
    return inventory.losses();
}

} // namespace kalim
