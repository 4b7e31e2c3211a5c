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

std::vector<FileNote> shortage(const AudioFileReader& reader, const Extent& extent)
{
    const auto missing = extent.stated - extent.there;
    if (!isFrameOrMore(reader, missing))
        return {};
    return {{fmt::format("the file is cut short: {}, {} bytes are missing", lengths(reader, extent),
                         missing),
             true}};
}

/// What stands behind the last chunk and is none.
std::vector<FileNote> leftovers(const AudioFileReader& reader, const ChunkedFile& file)
{
    const auto chunks = file.findChunks();
    const auto isAudio = [](const ChunkPlace& place) { return place.id == "data"; };
    if (std::ranges::count_if(chunks, isAudio) > 1)
        return {{"it holds a second block of samples, which is not read", true}};
    if (file.findAudio() && std::ranges::count(chunks, "RIFF", &ChunkPlace::id) > 0)
        return {{"another recording follows behind its end, which is not read", true}};
    const auto rest = file.findRest();
    if (!isFrameOrMore(reader, rest.bytes) || rest.isEmpty || rest.isTag)
        return {};
    return {
        {fmt::format("{} bytes behind its last block are not read, {:.1f} s if they are samples",
                     rest.bytes,
                     static_cast<double>(rest.bytes) /
                         static_cast<double>(reader.getFormat().bytesFor(
                             std::int64_t{reader.getNumChannels()} * reader.getSampleRate()))),
         true}};
}

std::vector<FileNote> damagesOfChunks(const AudioFileReader& reader, const ChunkedFile& file)
{
    if (const auto bytes = file.findUnclaimedAudioBytes(); isFrameOrMore(reader, bytes))
    {
        const bool isRead = reader.getNumFrames() > 0;
        return {{fmt::format("the header claims no samples although {} bytes follow, which {}",
                             bytes, isRead ? "are taken for them" : "are left out"),
                 !isRead}};
    }
    if (const auto audio = file.findAudio(); audio && audio->statedSize)
        if (auto notes = shortage(reader, {*audio->statedSize, audio->dataSize}); !notes.empty())
            return notes;
    return leftovers(reader, file);
}

/// The header is a mark and numbers of four bytes, of which two are the start and the size.
std::vector<FileNote> damagesOfAu(const AudioFileReader& reader)
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

std::vector<FileNote> damagesOfOgg(const AudioFileReader& reader)
{
    const auto survey = surveyOgg(reader.getDescriptor());
    const bool isCut =
        std::ranges::any_of(survey.links, [](const OggLink& link) { return !link.isEnded; });
    std::vector<FileNote> notes;
    if (isCut)
        notes.push_back({"the file is cut short: its stream has no end", true});
    else if (survey.damagedBytes > 0)
        notes.push_back({fmt::format("{} bytes are damaged", survey.damagedBytes), true});
    if (survey.missingPages > 0)
        notes.push_back({fmt::format("{} pages are missing", survey.missingPages), true});
    return notes;
}

} // namespace

std::vector<FileNote> damagesOf(const AudioFileReader& reader)
{
    auto notes = reader.getNotes();
    const auto add = [&notes](const std::vector<FileNote>& more)
    { notes.insert(notes.end(), more.begin(), more.end()); };
    if (const auto file = ChunkedFile::open(reader.getDescriptor()))
        add(damagesOfChunks(reader, *file));
    else if (reader.getFormat().getContainer() == SF_FORMAT_AU)
        add(damagesOfAu(reader));
    else if (asText(readBytesAt(reader.getDescriptor(), 0, 4)) == "OggS")
        add(damagesOfOgg(reader));
    return notes;
}

} // namespace kalim
