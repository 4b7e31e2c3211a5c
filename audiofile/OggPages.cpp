#include "audiofile/OggPages.h"

#include "audiofile/FileBytes.h"

#include <cstdint>
#include <numeric>
#include <string_view>

namespace kalim
{
namespace
{

constexpr std::string_view pageMark("OggS\0", 5);
constexpr std::int64_t pageHeaderBytes = 27;
constexpr std::int64_t largestSegment = 255;
constexpr std::int64_t largestPage =
    pageHeaderBytes + largestSegment + largestSegment * largestSegment;

/// Packets above this many bytes are left alone.
constexpr std::size_t largestPacket = std::size_t{1} << 26;

struct Page
{
    std::uint64_t stream;
    bool isLast;
    std::vector<std::byte> segmentSizes;
    std::vector<std::byte> body;
    std::int64_t end;
};

/// The page that starts at an offset, nothing if it is cut short.
std::optional<Page> pageAt(int descriptor, std::int64_t offset)
{
    const auto header = readBytesAt(descriptor, offset, pageHeaderBytes);
    if (std::ssize(header) < pageHeaderBytes || !asText(header).starts_with(pageMark))
        return {};
    const auto start = offset + pageHeaderBytes;
    const auto segments = std::to_integer<std::int64_t>(header.back());
    Page page{littleEndian(std::span(header).subspan(14, 4)),
              (header[5] & std::byte{4}) != std::byte{0},
              readBytesAt(descriptor, start, segments),
              {},
              0};
    const auto bodyBytes = std::accumulate(
        page.segmentSizes.begin(), page.segmentSizes.end(), std::int64_t{0},
        [](std::int64_t sum, std::byte size) { return sum + std::to_integer<std::int64_t>(size); });
    page.body = readBytesAt(descriptor, start + segments, bodyBytes);
    page.end = start + segments + bodyBytes;
    const bool isWhole =
        std::ssize(page.segmentSizes) == segments && std::ssize(page.body) == bodyBytes;
    return isWhole ? std::optional(page) : std::nullopt;
}

} // namespace

std::optional<std::vector<std::byte>> oggPacket(int descriptor, int number)
{
    std::vector<std::byte> packet;
    std::int64_t offset = 0;
    std::optional<std::uint64_t> stream;
    while (const auto page = pageAt(descriptor, offset))
    {
        offset = page->end;
        if (page->stream != stream.value_or(page->stream))
            continue;
        stream = page->stream;
        auto rest = std::span(page->body);
        for (const auto segment : page->segmentSizes)
        {
            const auto size = std::to_integer<std::size_t>(segment);
            if (number == 0)
                packet.insert(packet.end(), rest.begin(),
                              rest.begin() + static_cast<std::ptrdiff_t>(size));
            rest = rest.subspan(size);
            // A full segment is continued, be it by an empty one.
            const bool endsPacket = size < largestSegment;
            if (endsPacket && number-- == 0)
                return packet;
        }
        if (packet.size() > largestPacket)
            break;
    }
    return {};
}

bool endsWithLastOggPage(int descriptor)
{
    const auto start = std::max<std::int64_t>(fileSizeOf(descriptor) - largestPage, 0);
    const auto tail = readBytesAt(descriptor, start, largestPage);
    const auto mark = asText(tail).rfind(pageMark);
    if (mark == std::string_view::npos)
        return false;
    const auto page = pageAt(descriptor, start + static_cast<std::int64_t>(mark));
    return page && page->isLast;
}

} // namespace kalim
