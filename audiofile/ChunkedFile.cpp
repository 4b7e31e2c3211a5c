#include "audiofile/ChunkedFile.h"

#include "audiofile/FileBytes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

constexpr std::array<std::string_view, 23> notDescriptions{
    "fmt ", "data", "fact", "ds64", "PEAK", "levl", "MD5 ", "JUNK", "junk", "PAD ", "FLLR", "COMM",
    "SSND", "FVER", "CHAN", "desc", "pakt", "kuki", "chan", "peak", "free", "ovvw", "slnt"};

constexpr std::uint64_t unknownSmallSize = 0xffffffff;

/// What programs write that cannot come back to fill in the size: about the largest that 31, 32 or
/// 64 bits hold, less the headers.
bool isUnknownSize(std::uint64_t stated, std::size_t sizeBytes)
{
    constexpr std::uint64_t margin = 4097;
    constexpr std::uint64_t signedLimit = 0x80000000;
    if (sizeBytes > 4)
        return stated >> 62 != 0;
    return stated + margin > unknownSmallSize ||
           (stated + margin > signedLimit && stated <= signedLimit);
}

bool isAudio(std::string_view id)
{
    return id == "data" || id == "SSND";
}

bool isPrintable(char character)
{
    return character >= 0x20 && character < 0x7f;
}

/// Samples that a header leaves out look like chunks when they are zeros, one in every few bytes.
bool isIdentifier(const std::string& id)
{
    constexpr std::size_t usualSize = 4;
    if (id.size() == usualSize)
        return std::ranges::all_of(id, isPrintable);
    return std::ranges::any_of(id, [](char character) { return character != 0; });
}

std::vector<std::byte> serialisedWith(const ChunkLayout& layout,
                                      const std::vector<RawChunk>& chunks)
{
    std::vector<std::byte> result;
    for (const auto& chunk : chunks)
    {
        const auto bytes = layout.serialised(chunk.id, chunk.data);
        result.insert(result.end(), bytes.begin(), bytes.end());
    }
    return result;
}

} // namespace

ChunkedFile::ChunkedFile(int fileDescriptor, const ChunkLayout& fileLayout)
    : descriptor(fileDescriptor)
    , layout(fileLayout)
{
}

std::optional<ChunkedFile> ChunkedFile::open(int descriptor)
{
    if (const auto layout = chunkLayoutOf(descriptor))
        return ChunkedFile(descriptor, *layout);
    return {};
}

std::int64_t ChunkedFile::readLargeDataSize() const
{
    if (!layout.hasLargeSizes)
        return -1;
    constexpr std::int64_t dataSizeInFile = 28;
    const auto bytes = readBytesAt(descriptor, dataSizeInFile, 8);
    return bytes.size() == 8 ? static_cast<std::int64_t>(layout.number(bytes)) : -1;
}

std::optional<ChunkPlace> ChunkedFile::placeAt(std::int64_t offset,
                                               std::int64_t statedDataSize) const
{
    const auto header = readBytesAt(descriptor, offset, layout.getHeaderBytes());
    if (static_cast<std::int64_t>(header.size()) < layout.getHeaderBytes())
        return {};
    const auto stated = layout.number(std::span(header).subspan(layout.idBytes));
    const auto counted = layout.sizeCountsHeader ? layout.getHeaderBytes() : 0;
    auto size = static_cast<std::int64_t>(stated - static_cast<std::uint64_t>(counted));
    const auto id = layout.identifier(header);
    const bool isInDs64 = isAudio(id) && stated == unknownSmallSize && statedDataSize >= 0;
    if (isInDs64)
        size = statedDataSize;

    const auto dataStart = offset + layout.getHeaderBytes();
    ChunkPlace place{id, offset, dataStart, size, std::max<std::int64_t>(size, 0)};
    if (!isInDs64 && isUnknownSize(stated, layout.sizeBytes))
        place.statedSize.reset();
    const auto rest = fileSizeOf(descriptor) - dataStart;
    if (size >= 0 && size <= rest)
        return place;
    // Recorders that were cut off leave a wrong length of the samples, which then end the file.
    if (!isAudio(id))
        return {};
    place.dataSize = rest;
    return place;
}

/// The chunk behind an end; some programs leave out the padding.
std::optional<ChunkPlace> ChunkedFile::placeBehind(std::int64_t end, std::int64_t largeSize) const
{
    for (const auto offset : {layout.aligned(end), end})
        if (auto place = placeAt(offset, largeSize); place && isIdentifier(place->id))
            return place;
    return {};
}

std::vector<ChunkPlace> ChunkedFile::findChunks() const
{
    std::vector<ChunkPlace> result;
    const auto stated = readLargeDataSize();
    auto place = placeBehind(layout.firstChunk, stated);
    while (place)
    {
        const auto end = place->dataStart + place->dataSize;
        result.push_back(std::move(*place));
        place = placeBehind(end, stated);
    }
    return result;
}

std::optional<ChunkPlace> ChunkedFile::findAudio() const
{
    for (auto& place : findChunks())
        if (isAudio(place.id))
            return place;
    return {};
}

std::int64_t ChunkedFile::findUnclaimedAudioBytes() const
{
    const auto all = findChunks();
    const auto found = std::ranges::find_if(all, isAudio, &ChunkPlace::id);
    if (found == all.end() || !found->statedSize || *found->statedSize > getAudioFieldBytes())
        return 0;
    if (std::next(found) != all.end())
        return 0;
    const auto start = found->dataStart + getAudioFieldBytes();
    return std::max<std::int64_t>(fileSizeOf(descriptor) - start, 0);
}

ChunkedFile::Rest ChunkedFile::findRest() const
{
    const auto all = findChunks();
    if (all.empty())
        return {};
    const auto end = layout.aligned(all.back().dataStart + all.back().dataSize);
    constexpr std::int64_t mostLookedAt = 1 << 20;
    const auto bytes = readBytesAt(descriptor, end, mostLookedAt);
    const bool isEmpty =
        std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
    const auto text = asText(bytes);
    const bool isTag =
        text.starts_with("TAG") || text.starts_with("ID3") || text.starts_with("APETAGEX");
    return {std::max<std::int64_t>(fileSizeOf(descriptor) - end, 0), isEmpty, isTag};
}

std::int64_t ChunkedFile::getAudioFieldBytes() const
{
    if (layout.family == ChunkFamily::aiff)
        return 8;
    return layout.family == ChunkFamily::caf ? 4 : 0;
}

std::vector<RawChunk> ChunkedFile::readDescriptions() const
{
    std::vector<RawChunk> result;
    bool precedesAudio = true;
    for (const auto& place : findChunks())
    {
        precedesAudio = precedesAudio && !isAudio(place.id);
        const bool isDescription =
            std::ranges::find(notDescriptions, place.id) == notDescriptions.end();
        if (isDescription && place.dataSize <= largestChunk)
            result.push_back({place.id, readBytesAt(descriptor, place.dataStart, place.dataSize),
                              precedesAudio});
    }
    return result;
}

bool ChunkedFile::append(const std::vector<RawChunk>& chunks) const
{
    // Common readers of W64 play everything behind the samples as further samples.
    if (layout.family == ChunkFamily::wave64)
        return false;
    const auto bytes = serialisedWith(layout, chunks);
    const auto start = layout.aligned(fileSizeOf(descriptor));
    const auto end = start + static_cast<std::int64_t>(bytes.size());
    const bool isSmall = layout.sizeBytes == 4 && !layout.hasLargeSizes;
    if (isSmall && end > std::numeric_limits<std::uint32_t>::max())
        return false;
    writeBytesAt(descriptor, fileSizeOf(descriptor),
                 std::vector<std::byte>(static_cast<std::size_t>(start - fileSizeOf(descriptor))));
    writeBytesAt(descriptor, start, bytes);
    stateTotalSize(end);
    return true;
}

void ChunkedFile::stateTotalSize() const
{
    stateTotalSize(fileSizeOf(descriptor));
}

void ChunkedFile::stateTotalSize(std::int64_t size) const
{
    constexpr std::int64_t outerHeader = 8;
    if (layout.family == ChunkFamily::wave64)
    {
        writeBytesAt(descriptor, 16, layout.bytes(static_cast<std::uint64_t>(size), 8));
        return;
    }
    const auto inside = static_cast<std::uint64_t>(size - outerHeader);
    if (layout.hasLargeSizes)
        writeBytesAt(descriptor, 20, layout.bytes(inside, 8));
    else if (layout.family != ChunkFamily::caf)
        writeBytesAt(descriptor, 4, layout.bytes(inside, 4));
}

} // namespace kalim
