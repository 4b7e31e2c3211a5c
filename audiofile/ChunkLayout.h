#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// A describing chunk of an audio file, byte for byte, without its header and padding.
struct RawChunk
{
    /// Four characters, or 16 bytes where a W64 file has an identifier of its own.
    std::string id;
    std::vector<std::byte> data;

    /// Whether it stood in front of the samples, where recorders and players look first.
    bool precedesAudio = false;

    bool operator==(const RawChunk& other) const { return id == other.id && data == other.data; }
};

/// Containers whose files are a list of chunks, by what their chunks mean.
enum class ChunkFamily
{
    riff,
    wave64,
    aiff,
    caf
};

/// How one kind of file writes down its chunks.
struct ChunkLayout
{
    ChunkFamily family;
    bool isBigEndian;

    /// RIFF with sizes that may stand in a ds64 chunk.
    bool hasLargeSizes;
    std::int64_t firstChunk;
    std::size_t idBytes;
    std::size_t sizeBytes;
    bool sizeCountsHeader;
    std::int64_t alignment;

    std::int64_t getHeaderBytes() const { return static_cast<std::int64_t>(idBytes + sizeBytes); }

    std::int64_t aligned(std::int64_t offset) const;

    /// The number that is stored in these bytes.
    std::uint64_t number(std::span<const std::byte> bytes) const;

    /// The bytes that store a number.
    std::vector<std::byte> bytes(std::uint64_t number, std::size_t count) const;

    /// The identifier in a header: four characters, or 16 bytes where it is no usual one.
    std::string identifier(std::span<const std::byte> bytes) const;

    /// Header, data and padding of a chunk that is to start at an aligned offset.
    std::vector<std::byte> serialised(const std::string& id, std::span<const std::byte> data) const;
};

/// The layout of a WAV file; the big-endian kind starts with RIFX.
ChunkLayout riffLayout(bool isBigEndian);

/// The layout of a file of that kind; only the RIFF kind has two byte orders.
ChunkLayout layoutOf(ChunkFamily family, bool isBigEndian);

/// The layout of an open file by its first bytes, nothing if it is no list of chunks.
std::optional<ChunkLayout> chunkLayoutOf(int descriptor);

} // namespace kalim
