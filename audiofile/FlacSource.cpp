#include "audiofile/FlacSource.h"

#include "audiofile/FileBytes.h"

#include <algorithm>

namespace kalim
{
namespace
{

/// Of the first metadata block, counted from the mark: the mark itself and the block's header
/// precede it (RFC 9639, section 8.2).
constexpr std::int64_t streamInfo = 8;
constexpr std::int64_t streamInfoSize = 34;
constexpr std::size_t bitsField = 12;
constexpr std::size_t checksumField = 18;

constexpr const char* wrongChecksum =
    "the samples are not those of which the file states the checksum";

} // namespace

std::optional<std::int64_t> findFlacStart(const FileRange& range)
{
    constexpr std::size_t id3HeaderSize = 10;
    const auto head = readBytesAt(range.descriptor, range.start, id3HeaderSize);
    std::int64_t start = 0;
    if (asText(head).starts_with("ID3") && head.size() == id3HeaderSize)
    {
        std::int64_t size = 0;
        for (const std::byte byte : std::span(head).subspan(6))
            size = size << 7 | (static_cast<std::int64_t>(byte) & 0x7f);
        start = static_cast<std::int64_t>(id3HeaderSize) + size;
    }
    const auto mark = readBytesAt(range.descriptor, range.start + start, 4);
    return asText(mark) == "fLaC" ? std::optional(start) : std::nullopt;
}

FlacSource::FlacSource(const std::filesystem::path& path, const FileRange& range)
    : LibrarySource(path, range)
    , shape(LibrarySource::getShape())
{
    const auto block =
        readBytesAt(range.descriptor, range.start + findFlacStart(range).value_or(0) + streamInfo,
                    streamInfoSize);
    if (std::ssize(block) != streamInfoSize)
        return;
    // Five bits across two bytes hold the number of bits less one.
    const auto field = bigEndian(std::span(block).subspan(bitsField, 2));
    bits = static_cast<int>(field >> 4U & 0x1fU) + 1;
    const auto checksum = std::span(block).subspan(checksumField);
    constexpr int mostBitsOfFloat = 24;
    if (bits <= mostBitsOfFloat &&
        std::ranges::any_of(checksum, [](std::byte byte) { return byte != std::byte{0}; }))
        stated.assign(checksum.begin(), checksum.end());
    if (!stated.empty())
        digest.emplace(Digest::Kind::md5);
}

std::int64_t FlacSource::decode(std::span<float> interleaved, std::int64_t frames)
{
    const auto got = LibrarySource::decode(interleaved, frames);
    if (digest)
        add(interleaved.first(static_cast<std::size_t>(got * shape.channels)));
    return got;
}

void FlacSource::add(std::span<const float> interleaved)
{
    bytes.clear();
    appendIntegers(interleaved, bits, bytes);
    digest->add(bytes);
    numFrames += std::ssize(interleaved) / shape.channels;
    if (numFrames != shape.frames)
        return;
    isWrong = digest->finish() != stated;
    isFailing = isWrong;
    stated.clear();
    digest.reset();
}

std::string FlacSource::getError() const
{
    const std::string error = LibrarySource::getError();
    return error.empty() && isFailing ? wrongChecksum : error;
}

bool FlacSource::seek(std::int64_t frame)
{
    digest.reset();
    isFailing = false;
    return LibrarySource::seek(frame);
}

void FlacSource::restart()
{
    LibrarySource::restart();
    numFrames = 0;
    isFailing = false;
    if (!stated.empty())
        digest.emplace(Digest::Kind::md5);
}

std::vector<FileNote> FlacSource::getNotes() const
{
    return isWrong ? std::vector<FileNote>{{wrongChecksum, true}} : std::vector<FileNote>{};
}

} // namespace kalim
