#include "audiofile/media/MediaExtent.h"

#include "audiofile/FileBytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace kalim::media
{
namespace
{

constexpr std::string_view matroskaMark("\x1a\x45\xdf\xa3", 4);
constexpr std::string_view segmentMark("\x18\x53\x80\x67", 4);
constexpr std::string_view asfMark("\x30\x26\xb2\x75\x8e\x66\xcf\x11", 8);
constexpr std::string_view asfProperties("\xa1\xdc\xab\x8c\x47\xa9\xcf\x11", 8);

std::string cutShort(std::int64_t missing)
{
    return fmt::format("the file is cut short: {} bytes are missing", missing);
}

bool isName(std::string_view text)
{
    return std::ranges::all_of(text, [](char c)
                               { return (c >= 0x20 && c < 0x7f) || c == static_cast<char>(0xa9); });
}

/// MP4 and MOV: boxes of a size and a name.
std::string missingInBoxes(int descriptor, std::int64_t size)
{
    for (std::int64_t offset = 0; offset + 8 <= size;)
    {
        const auto header = readBytesAt(descriptor, offset, 16);
        auto length = static_cast<std::int64_t>(bigEndian(std::span(header).first(4)));
        if (length == 1 && header.size() == 16)
            length = static_cast<std::int64_t>(bigEndian(std::span(header).subspan(8)));
        if (length == 0) // up to the end
            return {};
        if (length < 8 || !isName(asText(header).substr(4, 4)))
            return fmt::format("{} bytes at its end are not read", size - offset);
        if (length > size - offset)
            return cutShort(length - (size - offset));
        offset += length;
    }
    return {};
}

struct ElementSize
{
    std::int64_t value;
    std::int64_t fieldBytes;
    bool isUnknown;
};

/// The size of a Matroska element: the zeros in front of the first one tell how long it is.
ElementSize elementSizeAt(int descriptor, std::int64_t offset)
{
    const auto bytes = readBytesAt(descriptor, offset, 8);
    const auto first = bytes.empty() ? 0U : std::to_integer<unsigned>(bytes[0]);
    std::int64_t length = 1;
    while (length <= 8 && (first & 0x100U >> static_cast<unsigned>(length)) == 0)
        ++length;
    if (length > std::ssize(bytes))
        return {0, 1, true};
    const auto bits = static_cast<unsigned>(7 * length);
    const auto all = (std::uint64_t{1} << bits) - 1;
    const auto value = bigEndian(std::span(bytes).first(static_cast<std::size_t>(length))) & all;
    return {static_cast<std::int64_t>(value), length, value == all};
}

std::string missingInMatroska(int descriptor, std::int64_t size)
{
    const auto header = elementSizeAt(descriptor, 4);
    const auto segment = 4 + header.fieldBytes + header.value;
    if (header.isUnknown || segment >= size ||
        asText(readBytesAt(descriptor, segment, 4)) != segmentMark)
        return {};
    const auto body = elementSizeAt(descriptor, segment + 4);
    if (body.isUnknown)
        return {};
    const auto end = segment + 4 + body.fieldBytes + body.value;
    if (end > size)
        return cutShort(end - size);
    if (asText(readBytesAt(descriptor, end, 4)) == matroskaMark)
        return "another recording follows behind its end, which is not read";
    return {};
}

/// AVI: one list, or several where it is large.
std::string missingInLists(int descriptor, std::int64_t size)
{
    for (std::int64_t offset = 0; offset + 8 <= size;)
    {
        const auto header = readBytesAt(descriptor, offset, 8);
        const auto length = static_cast<std::int64_t>(littleEndian(std::span(header).subspan(4)));
        if (!asText(header).starts_with("RIFF") || length == 0)
            return {};
        if (offset + 8 + length > size)
            return cutShort(offset + 8 + length - size);
        offset += 8 + length + length % 2;
    }
    return {};
}

/// WMA: its properties state the size of the file.
std::string missingInAsf(int descriptor, std::int64_t size)
{
    constexpr std::int64_t mostHeader = 1 << 20;
    const auto header = readBytesAt(descriptor, 0, mostHeader);
    const auto at = asText(header).find(asfProperties);
    constexpr std::size_t sizeField = 40;
    constexpr std::size_t flagsField = 88;
    if (at == std::string_view::npos || at + flagsField + 4 > header.size())
        return {};
    const auto properties = std::span(header).subspan(at);
    const bool isBroadcast = (littleEndian(properties.subspan(flagsField, 4)) & 1U) != 0;
    const auto stated = static_cast<std::int64_t>(littleEndian(properties.subspan(sizeField, 8)));
    return !isBroadcast && stated > size ? cutShort(stated - size) : std::string();
}

} // namespace

std::string missingIn(int descriptor)
{
    const auto start = readBytesAt(descriptor, 0, 12);
    const auto text = asText(start);
    const auto size = fileSizeOf(descriptor);
    if (text.starts_with(matroskaMark))
        return missingInMatroska(descriptor, size);
    if (text.starts_with(asfMark))
        return missingInAsf(descriptor, size);
    if (text.starts_with("RIFF") && text.ends_with("AVI "))
        return missingInLists(descriptor, size);
    for (const std::string_view name : {"ftyp", "moov", "mdat", "wide", "free", "skip"})
        if (text.size() == 12 && text.substr(4, 4) == name)
            return missingInBoxes(descriptor, size);
    return {};
}

} // namespace kalim::media
