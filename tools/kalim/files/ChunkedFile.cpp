#include "tools/kalim/files/ChunkedFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <system_error>

namespace kalim::program
{
namespace
{

constexpr std::array<std::string_view, 23> notDescriptions{
    "fmt ", "data", "fact", "ds64", "PEAK", "levl", "MD5 ", "JUNK", "junk", "PAD ", "FLLR", "COMM",
    "SSND", "FVER", "CHAN", "desc", "pakt", "kuki", "chan", "peak", "free", "ovvw", "slnt"};

constexpr std::uint64_t unknownSmallSize = 0xffffffff;

bool isAudio(std::string_view id)
{
    return id == "data" || id == "SSND";
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

std::int64_t ChunkedFile::fileSize() const
{
    struct stat status
    {
    };

    return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

std::vector<std::byte> ChunkedFile::readBytes(std::int64_t offset, std::int64_t count) const
{
    std::vector<std::byte> bytes(static_cast<std::size_t>(count));
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const auto got = pread(descriptor, bytes.data() + done, bytes.size() - done,
                               offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category());
        if (got == 0)
            break;
        done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    bytes.resize(done);
    return bytes;
}

void ChunkedFile::writeBytes(std::int64_t offset, std::span<const std::byte> bytes) const
{
    while (!bytes.empty())
    {
        const auto written = pwrite(descriptor, bytes.data(), bytes.size(), offset);
        if (written < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category());
        const auto step = std::max<ssize_t>(written, 0);
        bytes = bytes.subspan(static_cast<std::size_t>(step));
        offset += step;
    }
}

std::int64_t ChunkedFile::largeDataSize() const
{
    if (!layout.hasLargeSizes)
        return -1;
    constexpr std::int64_t dataSizeInFile = 28;
    const auto bytes = readBytes(dataSizeInFile, 8);
    return bytes.size() == 8 ? static_cast<std::int64_t>(layout.number(bytes)) : -1;
}

std::optional<ChunkPlace> ChunkedFile::placeAt(std::int64_t offset,
                                               std::int64_t statedDataSize) const
{
    const auto header = readBytes(offset, layout.headerBytes());
    if (static_cast<std::int64_t>(header.size()) < layout.headerBytes())
        return {};
    const auto stated = layout.number(std::span(header).subspan(layout.idBytes));
    ChunkPlace place{layout.identifier(header), offset, offset + layout.headerBytes(),
                     static_cast<std::int64_t>(stated)};
    if (layout.sizeCountsHeader)
        place.dataSize -= layout.headerBytes();
    if (isAudio(place.id) && stated == unknownSmallSize && statedDataSize >= 0)
        place.dataSize = statedDataSize;

    const auto rest = fileSize() - place.dataStart;
    if (place.dataSize >= 0 && place.dataSize <= rest)
        return place;
    // Recorders that were cut off leave a wrong length of the samples, which then end the file.
    if (!isAudio(place.id))
        return {};
    place.dataSize = rest;
    return place;
}

std::vector<ChunkPlace> ChunkedFile::places() const
{
    std::vector<ChunkPlace> result;
    const auto stated = largeDataSize();
    auto offset = layout.firstChunk;
    while (const auto place = placeAt(offset, stated))
    {
        result.push_back(*place);
        offset = layout.aligned(place->dataStart + place->dataSize);
    }
    return result;
}

std::optional<std::int64_t> ChunkedFile::audioBytes() const
{
    for (const auto& place : places())
        if (isAudio(place.id))
            return place.dataSize;
    return {};
}

std::vector<RawChunk> ChunkedFile::descriptions() const
{
    std::vector<RawChunk> result;
    bool precedesAudio = true;
    for (const auto& place : places())
    {
        precedesAudio = precedesAudio && !isAudio(place.id);
        const bool isDescription =
            std::ranges::find(notDescriptions, place.id) == notDescriptions.end();
        if (isDescription && place.dataSize <= largestChunk)
            result.push_back({place.id, readBytes(place.dataStart, place.dataSize), precedesAudio});
    }
    return result;
}

std::size_t ChunkedFile::fillerSize(const ChunkLayout& layout, const std::vector<RawChunk>& chunks)
{
    const auto header = static_cast<std::size_t>(layout.headerBytes());
    const auto needed = serialisedWith(layout, chunks).size();
    std::size_t size = 4;
    // What is left over must be nothing or large enough for a filler of its own.
    while (size + header < needed || (size + header > needed && size < needed))
        size += 4;
    return size;
}

bool ChunkedFile::fill(const std::vector<RawChunk>& chunks) const
{
    auto bytes = serialisedWith(layout, chunks);
    const auto size = static_cast<std::int64_t>(fillerSize(layout, chunks));
    for (const auto& place : places())
    {
        if (place.id != fillerId || place.dataSize != size)
            continue;
        const auto room = static_cast<std::size_t>(place.dataStart + size - place.start);
        if (room > bytes.size())
        {
            const auto header = static_cast<std::size_t>(layout.headerBytes());
            const std::vector<std::byte> nothing(room - bytes.size() - header);
            const auto filler = layout.serialised(fillerId, nothing);
            bytes.insert(bytes.end(), filler.begin(), filler.end());
        }
        writeBytes(place.start, bytes);
        return true;
    }
    return false;
}

bool ChunkedFile::append(const std::vector<RawChunk>& chunks) const
{
    // Common readers of W64 play everything behind the samples as further samples.
    if (layout.family == ChunkFamily::wave64)
        return false;
    const auto bytes = serialisedWith(layout, chunks);
    const auto start = layout.aligned(fileSize());
    const auto end = start + static_cast<std::int64_t>(bytes.size());
    const bool isSmall = layout.sizeBytes == 4 && !layout.hasLargeSizes;
    if (isSmall && end > std::numeric_limits<std::uint32_t>::max())
        return false;
    writeBytes(fileSize(), std::vector<std::byte>(static_cast<std::size_t>(start - fileSize())));
    writeBytes(start, bytes);
    stateTotalSize(end);
    return true;
}

void ChunkedFile::stateTotalSize(std::int64_t size) const
{
    constexpr std::int64_t outerHeader = 8;
    const auto inside = static_cast<std::uint64_t>(size - outerHeader);
    if (layout.hasLargeSizes)
        writeBytes(20, layout.bytes(inside, 8));
    else if (layout.family != ChunkFamily::caf)
        writeBytes(4, layout.bytes(inside, 4));
}

} // namespace kalim::program
