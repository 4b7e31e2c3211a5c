#include "kalim/streams/OutputSpool.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "base/FileError.h"
#include "kalim/streams/InputSpool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace kalim::program
{
namespace
{

/// Bytes that are sent at once, whole samples of every kind.
constexpr std::int64_t sentAtOnce = 3 << 18;

/// The part of a file that is sent, and what is sent in place of all before it.
struct Shipment
{
    std::vector<std::byte> head;
    std::int64_t start;
    std::int64_t end;
};

void addTo(std::vector<std::byte>& bytes, std::size_t offset, std::size_t size, std::uint64_t more)
{
    const auto field = std::span(bytes).subspan(offset, size);
    const std::uint64_t value = littleEndian(field) + more;
    for (std::size_t i = 0; i < size; ++i)
        field[i] = static_cast<std::byte>(value >> (8 * i));
}

/// The sound library leaves out the size of an extension behind the format of float samples, which
/// is required for all that is not PCM, and which other programs miss.
std::vector<std::byte> makeCompleteHead(int file, const ChunkPlace& format)
{
    constexpr std::size_t sizeAt = 4;
    constexpr std::size_t largeSizeAt = 20;
    constexpr std::size_t added = 2;
    std::vector<std::byte> head = readBytesAt(file, 0, format.dataStart + format.dataSize);
    const bool isSmall = asText(head).starts_with("RIFF");
    addTo(head, isSmall ? sizeAt : largeSizeAt, isSmall ? 4 : 8, added);
    addTo(head, static_cast<std::size_t>(format.dataStart) - 4, 4, added);
    head.resize(head.size() + added);
    return head;
}

bool lacksExtension(int file, const ChunkPlace& chunk)
{
    constexpr std::int64_t shortFormat = 16;
    constexpr std::uint64_t floatingPoint = 3;
    return chunk.id == "fmt " && chunk.dataSize == shortFormat &&
           littleEndian(readBytesAt(file, chunk.dataStart, 2)) == floatingPoint;
}

Shipment makeShipment(int file, bool isRaw)
{
    const auto chunks = ChunkedFile::open(file);
    if (isRaw)
    {
        const ChunkPlace audio = chunks.value().findAudio().value();
        return {{}, audio.dataStart, audio.dataStart + audio.dataSize};
    }
    if (chunks && chunks->getFamily() == ChunkFamily::riff)
        for (const ChunkPlace& chunk : chunks->findChunks())
            if (lacksExtension(file, chunk))
                return {makeCompleteHead(file, chunk), chunk.dataStart + chunk.dataSize,
                        fileSizeOf(file)};
    return {{}, 0, fileSizeOf(file)};
}

void sendBytes(int descriptor, const std::string& name, std::span<const std::byte> bytes)
{
    if (const int error = writeBytes(descriptor, bytes))
        throw FileError(name, error);
}

} // namespace

OutputSpool::OutputSpool(const std::string& extension)
{
    OutputFile::removeAbandoned(findScratchFolder());
    std::string name = findScratchFolder() / (".kalim-XXXXXX." + extension);
    const FileDescriptor file(
        mkostemps(name.data(), static_cast<int>(extension.size()) + 1, O_CLOEXEC));
    if (!file.isOpen())
        throw FileError(findScratchFolder(), errno);
    path = name;
    registration.emplace(name);
}

OutputSpool::~OutputSpool()
{
    unlink(path.c_str());
}

void OutputSpool::send(int descriptor, const std::string& name,
                       const std::optional<RawSamples>& samples) const
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        throw FileError(path, errno);
    const Shipment shipment = makeShipment(file.get(), samples.has_value());
    sendBytes(descriptor, name, shipment.head);
    for (std::int64_t at = shipment.start; at < shipment.end; at += sentAtOnce)
    {
        std::vector<std::byte> bytes =
            readBytesAt(file.get(), at, std::min(sentAtOnce, shipment.end - at));
        if (samples)
            exchangeWithWav(bytes, *samples);
        sendBytes(descriptor, name, bytes);
    }
}

} // namespace kalim::program
