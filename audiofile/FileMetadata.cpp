#include "audiofile/FileMetadata.h"

#include "audiofile/ChunkTags.h"
#include "audiofile/ChunkedFile.h"
#include "audiofile/DescriptionChunks.h"
#include "audiofile/FileBytes.h"
#include "audiofile/Instrument.h"
#include "audiofile/TagFiles.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

constexpr auto broadcastExtension = "bext";

/// Names of what the audio library reads from containers that we know nothing of.
constexpr std::array namedStrings{std::pair{SF_STR_TITLE, "TITLE"},
                                  std::pair{SF_STR_COPYRIGHT, "COPYRIGHT"},
                                  std::pair{SF_STR_SOFTWARE, "ENCODER"},
                                  std::pair{SF_STR_ARTIST, "ARTIST"},
                                  std::pair{SF_STR_COMMENT, "COMMENT"},
                                  std::pair{SF_STR_DATE, "DATE"},
                                  std::pair{SF_STR_ALBUM, "ALBUM"},
                                  std::pair{SF_STR_LICENSE, "LICENSE"},
                                  std::pair{SF_STR_TRACKNUMBER, "TRACKNUMBER"},
                                  std::pair{SF_STR_GENRE, "GENRE"}};

/// Chunks of text, which mean the same in either byte order.
constexpr std::array<std::string_view, 4> textChunks{"iXML", "axml", "aXML", "_PMX"};

bool contains(const auto& list, std::string_view item)
{
    return std::ranges::find(list, item) != list.end();
}

bool isRiffLike(ChunkFamily family)
{
    return family == ChunkFamily::riff || family == ChunkFamily::wave64;
}

/// How a file to write lays out its chunks, nothing if it is no list of them.
std::optional<ChunkLayout> layoutOf(const AudioFileFormat& format)
{
    const bool isBigEndian = format.getByteOrder() == SF_ENDIAN_BIG;
    if (format.isWav())
        return layoutOf(ChunkFamily::riff, isBigEndian);
    switch (format.getContainer())
    {
    case SF_FORMAT_W64:
        return layoutOf(ChunkFamily::wave64, false);
    case SF_FORMAT_AIFF:
        return layoutOf(ChunkFamily::aiff, true);
    case SF_FORMAT_CAF:
        return layoutOf(ChunkFamily::caf, true);
    default:
        return {};
    }
}

/// Lengths and notes of markers, which only the RIFF kind has.
bool hasNotesOfMarkers(const RawChunk& chunk)
{
    const auto text = asText(chunk.data);
    return chunk.id == "LIST" && text.starts_with("adtl") &&
           (text.find("ltxt") != std::string_view::npos ||
            text.find("note") != std::string_view::npos);
}

std::string describe(const RawChunk& chunk)
{
    if (chunk.id == broadcastExtension)
        return "the broadcast extension (bext)";
    if (chunk.id == "cue ")
        return "the cue points";
    if (chunk.id.size() != 4)
        return "a block without a name";
    auto name = chunk.id;
    std::ranges::replace_if(
        name, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return fmt::format("the block '{}'", name);
}

Tags tagsOfLibrary(SNDFILE* sound)
{
    Tags tags;
    for (const auto& [number, name] : namedStrings)
        if (const char* text = sf_get_string(sound, number); text != nullptr)
            tags.add(name, text);
    return tags;
}

std::vector<int> channelMapOf(SNDFILE* sound, int channels)
{
    std::vector<int> map(static_cast<std::size_t>(channels));
    const auto bytes = static_cast<int>(map.size() * sizeof(int));
    if (sf_command(sound, SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes) != SF_TRUE)
        map.clear();
    const bool isEmpty = std::ranges::all_of(map, [](int place) { return place == 0; });
    return isEmpty ? std::vector<int>{} : map;
}

/// How many of some places others lack.
std::ptrdiff_t countMissing(const std::vector<Marker>& wanted, const std::vector<Marker>& written)
{
    return std::ranges::count_if(
        wanted, [&](const Marker& marker)
        { return std::ranges::find(written, marker.frame, &Marker::frame) == written.end(); });
}

bool hasSameNames(const std::vector<Marker>& wanted, const std::vector<Marker>& written)
{
    return std::ranges::all_of(
        wanted,
        [&](const Marker& marker)
        {
            return std::ranges::any_of(
                written, [&](const Marker& other)
                { return other.frame == marker.frame && other.name == marker.name; });
        });
}

} // namespace

FileMetadata::FileMetadata(const AudioFileReader& reader)
    : format(reader.getFormat())
    , sampleRate(reader.getSampleRate())
    , channelMap(channelMapOf(reader.getHandle(), reader.getNumChannels()))
    , isAmbisonic(sf_command(reader.getHandle(), SFC_WAVEX_GET_AMBISONIC, nullptr, 0) ==
                  SF_AMBISONIC_B_FORMAT)
{
    if (const auto file = ChunkedFile::open(reader.getDescriptor()))
    {
        layout = file->getLayout();
        chunks = file->readDescriptions();
        tags = tagsOfChunks(*layout, chunks);
        markers = markersOf(*layout, chunks);
        instrument = instrumentOf(*layout, chunks);
        return;
    }
    tags = readFileTags(reader);
    if (tags.isEmpty())
        tags = tagsOfLibrary(reader.getHandle());
}

bool FileMetadata::sharesChunksWith(const std::optional<ChunkLayout>& other) const
{
    return layout && other &&
           (layout->family == other->family ||
            (isRiffLike(layout->family) && isRiffLike(other->family)));
}

void FileMetadata::applyTo(AudioFileWriter& writer, const std::string& note,
                           const std::string& comment) const
{
    applyChannelMap(writer.getHandle());
    const auto target = layoutOf(writer.getFormat());
    if (!target)
    {
        Tags all = tagsFor(writer.getFormat());
        auto& comments = all.fields["COMMENT"];
        if (!comment.empty() && !contains(comments, comment))
            comments.push_back(comment);
        if (comments.empty())
            all.fields.erase("COMMENT");
        writer.setTags(all);
        return;
    }
    auto described = chunksFor(*target);
    for (auto& chunk : described)
        if (chunk.id == broadcastExtension)
            chunk = withCodingStep(
                chunk, {writer.getFormat(), writer.getNumChannels(), writer.getSampleRate(), note});
    writer.setChunks(std::move(described));
}

/// Blocks in which a converter keeps the headers of another format fit only samples like those.
Tags FileMetadata::tagsFor(const AudioFileFormat& target) const
{
    auto result = tags;
    if (target.getSubtype() != format.getSubtype())
        std::erase_if(result.flacBlocks,
                      [](const FlacBlock& block)
                      {
                          const auto text = asText(block.data);
                          return block.type == FlacBlock::application &&
                                 (text.starts_with("riff") || text.starts_with("aiff") ||
                                  text.starts_with("w64 "));
                      });
    return result;
}

std::vector<RawChunk> FileMetadata::chunksFor(const ChunkLayout& target) const
{
    if (!sharesChunksWith(target))
        return translatedChunks(target);
    const bool isSameOrder = layout->isBigEndian == target.isBigEndian;
    if (layout->family == target.family && isSameOrder)
        return chunks;
    std::vector<RawChunk> result;
    for (const auto& chunk : chunks)
    {
        const bool isPortable = chunk.id.size() == 4 && !isTagChunk(*layout, chunk);
        if (isPortable && isSameOrder)
            result.push_back(chunk);
        else if (isPortable && contains(textChunks, chunk.id))
            result.push_back(chunk);
        else if (isPortable && layout->isBigEndian && chunk.id == broadcastExtension)
            result.push_back(inUsualByteOrder(chunk));
    }
    std::ranges::copy(isSameOrder ? chunksOfTags(target, tags) : translatedChunks(target),
                      std::back_inserter(result));
    return result;
}

std::vector<RawChunk> FileMetadata::translatedChunks(const ChunkLayout& target) const
{
    auto result = chunksOfTags(target, tags);
    auto places = markers;
    makeValid(target, places);
    if (instrument)
        std::ranges::copy(instrumentChunks(target, *instrument, sampleRate, places),
                          std::back_inserter(result));
    std::ranges::copy(markerChunks(target, places), std::back_inserter(result));
    return result;
}

void FileMetadata::applyChannelMap(SNDFILE* sound) const
{
    if (isAmbisonic)
    {
        sf_command(sound, SFC_WAVEX_SET_AMBISONIC, nullptr, SF_AMBISONIC_B_FORMAT);
        return;
    }
    auto map = channelMap;
    if (!map.empty())
        sf_command(sound, SFC_SET_CHANNEL_MAP_INFO, map.data(),
                   static_cast<int>(map.size() * sizeof(int)));
}

std::vector<std::string> FileMetadata::lossesIn(const std::filesystem::path& path) const
{
    const AudioFileReader reader(path);
    const FileMetadata written(reader);
    std::vector<std::string> items;
    listChunkLosses(written, items);
    listMarkerLosses(written, items);
    if (!saysOfChannels(written))
        items.emplace_back("the loudspeaker positions of the channels");
    std::ranges::copy(lostTags(tags, written.tags), std::back_inserter(items));

    std::vector<std::string> lines;
    for (const auto& item : items)
        lines.push_back(
            fmt::format("not kept in the {} file: {}", written.format.getContainerName(), item));
    return lines;
}

bool FileMetadata::isTranslated(const RawChunk& chunk) const
{
    return isTagChunk(*layout, chunk) || isMarkerChunk(*layout, chunk) ||
           isInstrumentChunk(*layout, chunk);
}

void FileMetadata::listChunkLosses(const FileMetadata& written,
                                   std::vector<std::string>& items) const
{
    const bool isShared = sharesChunksWith(written.layout);
    // A set, for there may be tens of thousands of chunks. That of the broadcast extension changed.
    const auto keyOf = [](const RawChunk& chunk)
    { return std::pair(chunk.id, chunk.id == broadcastExtension ? "" : asText(chunk.data)); };
    std::set<std::pair<std::string, std::string_view>> copies;
    for (const auto& chunk : written.chunks)
        copies.insert(keyOf(chunk));
    for (const auto& chunk : chunks)
    {
        if (isShared && copies.contains(keyOf(chunk)))
            continue;
        if (!isTranslated(chunk))
            items.push_back(describe(chunk));
        else if (hasNotesOfMarkers(chunk))
            items.emplace_back("lengths and notes of cue points");
        else if (hasDatedComments(chunk))
            items.emplace_back("dates and places of comments");
    }
}

void FileMetadata::listMarkerLosses(const FileMetadata& written,
                                    std::vector<std::string>& items) const
{
    if (const auto missing = countMissing(markers, written.markers); missing > 0)
        items.push_back(counted(missing, "cue point"));
    else if (!hasSameNames(markers, written.markers))
        items.emplace_back("names of cue points");
    if (instrument && !written.instrument)
        items.emplace_back("the instrument and its loops");
    else if (instrument && written.instrument->loop_count < instrument->loop_count)
        items.emplace_back("loops of the instrument");
}

bool FileMetadata::saysOfChannels(const FileMetadata& written) const
{
    if (isAmbisonic)
        return written.isAmbisonic;
    // Every program plays one or two channels alike without being told.
    return channelMap.size() < 3 || channelMap == written.channelMap;
}

} // namespace kalim
