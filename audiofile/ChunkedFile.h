#pragma once

#include "audiofile/ChunkLayout.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kalim
{

/// Where a chunk lies in a file, in bytes.
struct ChunkPlace
{
    std::string id;
    std::int64_t start;
    std::int64_t dataStart;

    /// What is there of it.
    std::int64_t dataSize;

    /// What its header says, more than there is when the file was cut short; nothing when the
    /// writer did not know.
    std::optional<std::int64_t> statedSize;
};

/// Reads and adds the describing chunks of an open WAV, RF64, W64, AIFF or CAF file. Works on the
/// bytes, because what goes through the audio library changes its size and is limited to some ten
/// kilobytes.
class ChunkedFile
{
public:
    /// Chunks above this many bytes are left alone.
    static constexpr std::int64_t largestChunk = std::int64_t{1} << 26;

    /// The file as a list of chunks, nothing if it is none; the descriptor is not owned.
    static std::optional<ChunkedFile> open(int descriptor);

    ChunkFamily getFamily() const { return layout.family; }

    const ChunkLayout& getLayout() const { return layout; }

    /// All chunks in the order of the file, up to damage or the end.
    std::vector<ChunkPlace> findChunks() const;

    /// The chunk of the samples, nothing if there is none.
    std::optional<ChunkPlace> findAudio() const;

    /// Bytes behind the header of the samples when it says that there are none, as a recorder
    /// leaves it that was cut off; 0 when all is well.
    std::int64_t findUnclaimedAudioBytes() const;

    /// What stands behind the last chunk of a file and is none.
    struct Rest
    {
        std::int64_t bytes = 0;

        /// Whether they are nothing but zeros.
        bool isEmpty = true;

        /// Whether they begin like a tag, as some programs append it.
        bool isTag = false;
    };

    /// Looks at no more than the first megabyte of it.
    Rest findRest() const;

    /// The chunks that describe the recording: neither samples and their format, which the writer
    /// of samples makes, nor fillers, nor caches and checksums of the samples, which are wrong once
    /// these change.
    std::vector<RawChunk> readDescriptions() const;

    /// States the size of the whole file, which grew by chunks in front of the samples.
    void stateTotalSize() const;

    /// Adds chunks at the end; false for W64, and if the file would outgrow its sizes.
    bool append(const std::vector<RawChunk>& chunks) const;

private:
    ChunkedFile(int descriptor, const ChunkLayout& layout);

    std::optional<ChunkPlace> placeBehind(std::int64_t end, std::int64_t largeDataSize) const;
    std::optional<ChunkPlace> placeAt(std::int64_t offset, std::int64_t largeDataSize) const;
    std::int64_t readLargeDataSize() const;

    /// Fields between the header and the samples, which its size counts.
    std::int64_t getAudioFieldBytes() const;
    void stateTotalSize(std::int64_t size) const;

    int descriptor;
    ChunkLayout layout;
};

} // namespace kalim
