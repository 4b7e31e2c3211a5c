#include "audiofile/FileDamage.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "audiofile/OggPages.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kalim
{
namespace
{

/// How many bytes of samples the header of a file promises and how many are there.
struct Extent
{
    std::int64_t stated;
    std::int64_t there;
};

std::string lengths(const AudioFileReader& reader, const Extent& extent)
{
    if (extent.there == 0)
        return "none of the samples are there";
    const auto there = static_cast<double>(reader.getNumFrames()) / reader.getSampleRate();
    const auto share = static_cast<double>(extent.there) / static_cast<double>(extent.stated);
    return fmt::format("{:.1f} of {:.1f} s are there", there, there / share);
}

/// Less than a frame says nothing, for a single byte may be padding.
bool isFrameOrMore(const AudioFileReader& reader, std::int64_t bytes)
{
    return bytes >= std::max<std::int64_t>(reader.getFormat().bytesFor(reader.getNumChannels()), 2);
}

std::vector<std::string> shortage(const AudioFileReader& reader, const Extent& extent)
{
    const auto missing = extent.stated - extent.there;
    if (!isFrameOrMore(reader, missing))
        return {};
    return {fmt::format("the file is cut short: {}, {} bytes are missing", lengths(reader, extent),
                        missing)};
}

std::vector<std::string> damagesOfChunks(const AudioFileReader& reader, const ChunkedFile& file)
{
    if (const auto bytes = file.findUnclaimedAudioBytes(); isFrameOrMore(reader, bytes))
        return {fmt::format("the header claims no samples although {} bytes follow, which {}",
                            bytes,
                            reader.getNumFrames() > 0 ? "are taken for them" : "are left out")};
    if (const auto audio = file.findAudio(); audio && audio->statedSize)
        return shortage(reader, {*audio->statedSize, audio->dataSize});
    return {};
}

/// The header is a mark and numbers of four bytes, of which two are the start and the size.
std::vector<std::string> damagesOfAu(const AudioFileReader& reader)
{
    constexpr std::int64_t unknownSize = 0xffffffff;
    const auto header = readBytesAt(reader.getDescriptor(), 0, 12);
    const auto numberAt = [&](std::size_t offset)
    {
        const auto bytes = std::span(header).subspan(offset, 4);
        const bool isBigEndian = asText(header).starts_with(".snd");
        return static_cast<std::int64_t>(isBigEndian ? bigEndian(bytes) : littleEndian(bytes));
    };
    const auto stated = header.size() < 12 ? unknownSize : numberAt(8);
    if (stated == unknownSize)
        return {};
    const auto there = fileSizeOf(reader.getDescriptor()) - numberAt(4);
    return shortage(reader, {stated, std::max<std::int64_t>(there, 0)});
}

std::vector<std::string> damagesOfOgg(const AudioFileReader& reader)
{
    if (endsWithLastOggPage(reader.getDescriptor()))
        return {};
    return {"the file is cut short: its stream has no end"};
}

} // namespace

std::vector<std::string> damagesOf(const AudioFileReader& reader)
{
    if (const auto file = ChunkedFile::open(reader.getDescriptor()))
        return damagesOfChunks(reader, *file);
    switch (reader.getFormat().getContainer())
    {
    case SF_FORMAT_AU:
        return damagesOfAu(reader);
    case SF_FORMAT_OGG:
        return damagesOfOgg(reader);
    default:
        return {};
    }
}

} // namespace kalim
