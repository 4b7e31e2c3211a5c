#include "audiofile/ValidBits.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"

#include <algorithm>
#include <cstdint>

namespace kalim
{
namespace
{

/// Where a file says it, in 16 bits.
struct Field
{
    ChunkLayout layout;
    std::int64_t offset;
};

constexpr std::int64_t fieldBytes = 2;

/// Within the description of the samples: the extensible kind has a number of its own, the plain
/// one does not round up.
std::optional<std::int64_t> offsetInFormat(const ChunkLayout& layout, std::uint64_t kind)
{
    if (layout.family == ChunkFamily::aiff)
        return 6;
    constexpr std::uint64_t plain = 1;
    constexpr std::uint64_t extensible = 0xfffe;
    if (kind == extensible)
        return 18;
    return kind == plain ? std::optional<std::int64_t>(14) : std::nullopt;
}

std::optional<Field> findField(int descriptor)
{
    const auto file = ChunkedFile::open(descriptor);
    if (!file || file->getFamily() == ChunkFamily::caf)
        return {};
    const auto& layout = file->getLayout();
    const auto chunks = file->findChunks();
    const auto* const id = layout.family == ChunkFamily::aiff ? "COMM" : "fmt ";
    const auto found = std::ranges::find(chunks, id, &ChunkPlace::id);
    if (found == chunks.end())
        return {};
    const auto kind = readBytesAt(descriptor, found->dataStart, fieldBytes);
    const auto offset = offsetInFormat(layout, layout.number(kind));
    if (!offset || *offset + fieldBytes > found->dataSize)
        return {};
    return Field{layout, found->dataStart + *offset};
}

} // namespace

std::optional<int> validBitsOf(int descriptor)
{
    const auto field = findField(descriptor);
    if (!field)
        return {};
    const auto bits = field->layout.number(readBytesAt(descriptor, field->offset, fieldBytes));
    constexpr std::uint64_t most = 32;
    return bits > 0 && bits <= most ? std::optional(static_cast<int>(bits)) : std::nullopt;
}

void stateValidBits(int descriptor, int bits)
{
    if (const auto field = findField(descriptor))
        writeBytesAt(descriptor, field->offset,
                     field->layout.bytes(static_cast<std::uint64_t>(bits), fieldBytes));
}

} // namespace kalim
