#include "audiofile/OggPages.h"

#include "audiofile/FileBlocks.h"
#include "audiofile/FileBytes.h"

#include <array>
#include <cstdint>
#include <map>
#include <numeric>
#include <span>
#include <string_view>
#include <utility>

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

constexpr std::size_t checksumAt = 22;
constexpr std::size_t checksumEnd = checksumAt + 4;

constexpr std::array<std::uint32_t, 256> makeChecksums()
{
    constexpr std::uint32_t polynomial = 0x04c11db7;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte)
    {
        std::uint32_t sum = byte << 24U;
        for (int bit = 0; bit < 8; ++bit)
            sum = sum << 1U ^ ((sum & 0x80000000U) != 0 ? polynomial : 0U);
        table[byte] = sum;
    }
    return table;
}

/// That of a page, as RFC 3533 has it: the field of the checksum counts as zeros.
std::uint32_t checksumOf(std::span<const std::byte> page)
{
    static constexpr auto table = makeChecksums();
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < page.size(); ++i)
    {
        const bool isField = i >= checksumAt && i < checksumEnd;
        const auto byte = isField ? 0U : std::to_integer<std::uint32_t>(page[i]);
        sum = sum << 8U ^ table[(sum >> 24U ^ byte) & 0xffU];
    }
    return sum;
}

/// What a page that starts at an offset would hold, empty if none starts there or it is cut short.
std::span<const std::byte> pageIn(FileBlocks& file, std::int64_t offset)
{
    const auto page = file.at(offset, largestPage);
    if (std::ssize(page) < pageHeaderBytes || !asText(page).starts_with(pageMark))
        return {};
    const auto segments = std::to_integer<std::int64_t>(page[pageHeaderBytes - 1]);
    auto length = pageHeaderBytes + segments;
    if (length > std::ssize(page))
        return {};
    for (const auto size : page.subspan(pageHeaderBytes, static_cast<std::size_t>(segments)))
        length += std::to_integer<std::int64_t>(size);
    return length > std::ssize(page) ? std::span<const std::byte>()
                                     : page.first(static_cast<std::size_t>(length));
}

/// As often as a damaged file is summed up at most.
constexpr std::int64_t mostInVain = 16;

/// Goes through all pages of a file.
class OggWalk
{
public:
    explicit OggWalk(int fileDescriptor)
        : descriptor(fileDescriptor)
        , file({fileDescriptor, 0, fileSizeOf(fileDescriptor)})
    {
    }

    OggSurvey finish()
    {
        std::int64_t offset = 0;
        while (offset < file.getLength())
            if (const auto length = pageLength(offset))
            {
                add(file.at(offset, pageHeaderBytes), offset);
                offset += length;
            }
            else
                offset = skipDamage(offset);
        closeLink(file.getLength());
        return std::move(survey);
    }

private:
    /// Bytes of the whole and undamaged page that starts at an offset, 0 if there is none.
    std::int64_t pageLength(std::int64_t offset)
    {
        // Where page seems to lie in page, each would be summed up to its end.
        if (summedInVain > mostInVain * file.getLength())
            return 0;
        const auto page = pageIn(file, offset);
        if (page.empty())
            return 0;
        const auto stated = littleEndian(page.subspan(checksumAt, 4));
        if (checksumOf(page) == stated)
            return std::ssize(page);
        summedInVain += std::ssize(page);
        return 0;
    }

    std::int64_t skipDamage(std::int64_t offset)
    {
        const auto next = file.find(pageMark, offset + 1);
        const auto end = next < 0 ? file.getLength() : next;
        survey.damagedBytes += end - offset;
        return end;
    }

    void add(std::span<const std::byte> header, std::int64_t offset)
    {
        const auto flags = std::to_integer<unsigned>(header[5]);
        const auto stream = littleEndian(header.subspan(14, 4));
        const auto number = littleEndian(header.subspan(18, 4));
        const bool isFirst = (flags & 2U) != 0;
        // All streams of a link begin before the first of them goes on.
        if (survey.links.empty() || (isFirst && !isBeginning))
        {
            closeLink(offset);
            survey.links.push_back({{descriptor, offset, 0}, false});
            numbers.clear();
        }
        isBeginning = isFirst;
        const auto known = numbers.find(stream);
        if (known != numbers.end() && number > known->second + 1)
            survey.missingPages += static_cast<std::int64_t>(number - known->second - 1);
        if (known == numbers.end() && !isFirst)
            ++survey.missingPages;
        numbers[stream] = number;
        survey.links.back().isEnded = (flags & 4U) != 0;
    }

    void closeLink(std::int64_t end)
    {
        if (!survey.links.empty())
            survey.links.back().range.length = end - survey.links.back().range.start;
    }

    int descriptor;
    FileBlocks file;
    OggSurvey survey;
    std::map<std::uint64_t, std::uint64_t> numbers;
    std::int64_t summedInVain = 0;
    bool isBeginning = false;
};

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

OggSurvey surveyOgg(int descriptor)
{
    return OggWalk(descriptor).finish();
}

} // namespace kalim
