#include "audiofile/FileMetadata.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/DescriptionChunks.h"
#include "audiofile/FileBytes.h"
#include "audiofile/UncarriedTags.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

constexpr auto broadcastExtension = "bext";

struct NamedString
{
    int number;
    std::string_view name;
};

constexpr std::array namedStrings{
    NamedString{SF_STR_TITLE, "title"},
    NamedString{SF_STR_COPYRIGHT, "copyright"},
    NamedString{SF_STR_SOFTWARE, "software"},
    NamedString{SF_STR_ARTIST, "artist"},
    NamedString{SF_STR_COMMENT, "comment"},
    NamedString{SF_STR_DATE, "date"},
    NamedString{SF_STR_ALBUM, "album"},
    NamedString{SF_STR_LICENSE, "license"},
    NamedString{SF_STR_TRACKNUMBER, "track number"},
    NamedString{SF_STR_GENRE, "genre"},
};

/// Chunks whose content the audio library reads as strings, cue points or instrument.
constexpr std::array<std::string_view, 14> translatedChunks{"cue ", "smpl", "inst", "NAME", "AUTH",
                                                            "ANNO", "(c) ", "APPL", "MARK", "INST",
                                                            "COMT", "info", "strg", "mark"};

bool isRiffLike(std::optional<ChunkFamily> family)
{
    return family == ChunkFamily::riff || family == ChunkFamily::wave64;
}

std::optional<ChunkFamily> familyOf(const AudioFileFormat& format)
{
    if (format.isWav())
        return ChunkFamily::riff;
    switch (format.getContainer())
    {
    case SF_FORMAT_W64:
        return ChunkFamily::wave64;
    case SF_FORMAT_AIFF:
        return ChunkFamily::aiff;
    case SF_FORMAT_CAF:
        return ChunkFamily::caf;
    default:
        return {};
    }
}

bool startsWith(const RawChunk& chunk, std::string_view text)
{
    return chunk.data.size() >= text.size() &&
           std::memcmp(chunk.data.data(), text.data(), text.size()) == 0;
}

bool isTranslated(const RawChunk& chunk)
{
    if (chunk.id == "LIST")
        return startsWith(chunk, "INFO") || startsWith(chunk, "adtl");
    return std::ranges::find(translatedChunks, chunk.id) != translatedChunks.end();
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

std::map<int, std::string> stringsOf(SNDFILE* sound)
{
    std::map<int, std::string> strings;
    for (const auto& named : namedStrings)
        if (const char* text = sf_get_string(sound, named.number); text != nullptr && *text != 0)
            strings.emplace(named.number, text);
    return strings;
}

std::vector<SF_CUE_POINT> cuesOf(SNDFILE* sound)
{
    std::uint32_t count = 0;
    sf_command(sound, SFC_GET_CUE_COUNT, &count, sizeof count);
    constexpr std::uint32_t most = 65536;
    if (count == 0 || count > most)
        return {};
    constexpr auto firstPoint = offsetof(SF_CUES, cue_points);
    std::vector<std::byte> bytes(firstPoint + count * sizeof(SF_CUE_POINT));
    if (sf_command(sound, SFC_GET_CUE, bytes.data(), static_cast<int>(bytes.size())) != SF_TRUE)
        return {};
    std::vector<SF_CUE_POINT> cues(count);
    std::memcpy(cues.data(), bytes.data() + firstPoint, count * sizeof(SF_CUE_POINT));
    return cues;
}

void setCues(SNDFILE* sound, const std::vector<SF_CUE_POINT>& cues)
{
    constexpr auto firstPoint = offsetof(SF_CUES, cue_points);
    std::vector<std::byte> bytes(firstPoint + cues.size() * sizeof(SF_CUE_POINT));
    const auto count = static_cast<std::uint32_t>(cues.size());
    std::memcpy(bytes.data(), &count, sizeof count);
    std::memcpy(bytes.data() + firstPoint, cues.data(), cues.size() * sizeof(SF_CUE_POINT));
    sf_command(sound, SFC_SET_CUE, bytes.data(), static_cast<int>(bytes.size()));
}

std::optional<SF_INSTRUMENT> instrumentOf(SNDFILE* sound)
{
    SF_INSTRUMENT instrument{};
    if (sf_command(sound, SFC_GET_INSTRUMENT, &instrument, sizeof instrument) != SF_TRUE)
        return {};
    return instrument;
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

bool hasSamePlaces(const std::vector<SF_CUE_POINT>& a, const std::vector<SF_CUE_POINT>& b)
{
    return std::ranges::equal(a, b, {}, &SF_CUE_POINT::sample_offset, &SF_CUE_POINT::sample_offset);
}

bool hasSameNames(const std::vector<SF_CUE_POINT>& a, const std::vector<SF_CUE_POINT>& b)
{
    return std::ranges::equal(a, b,
                              [](const SF_CUE_POINT& x, const SF_CUE_POINT& y)
                              { return std::strncmp(x.name, y.name, sizeof x.name) == 0; });
}

} // namespace

FileMetadata::FileMetadata(const AudioFileReader& reader)
    : family(familyOf(reader.getFormat()))
    , uncarried(uncarriedTags(reader))
    , strings(stringsOf(reader.getHandle()))
    , cues(cuesOf(reader.getHandle()))
    , instrument(instrumentOf(reader.getHandle()))
    , channelMap(channelMapOf(reader.getHandle(), reader.getNumChannels()))
    , isAmbisonic(sf_command(reader.getHandle(), SFC_WAVEX_GET_AMBISONIC, nullptr, 0) ==
                  SF_AMBISONIC_B_FORMAT)
    , container(reader.getFormat().getContainerName())
{
    if (const auto file = ChunkedFile::open(reader.getDescriptor()); file && family)
        chunks = file->readDescriptions();
}

bool FileMetadata::sharesChunksWith(std::optional<ChunkFamily> other) const
{
    return family && (family == other || (isRiffLike(family) && isRiffLike(other)));
}

void FileMetadata::applyTo(AudioFileWriter& writer, const std::string& note) const
{
    applyChannelMap(writer.getHandle());
    if (!sharesChunksWith(familyOf(writer.getFormat())))
    {
        applyTranslated(writer);
        return;
    }
    auto described = chunks;
    for (auto& chunk : described)
        if (chunk.id == broadcastExtension)
            chunk = withCodingStep(
                chunk, {writer.getFormat(), writer.getNumChannels(), writer.getSampleRate(), note});
    writer.setChunks(std::move(described));
}

void FileMetadata::applyTranslated(AudioFileWriter& writer) const
{
    for (const auto& [number, text] : strings)
        sf_set_string(writer.getHandle(), number, text.c_str());
    if (instrument)
    {
        auto copy = *instrument;
        sf_command(writer.getHandle(), SFC_SET_INSTRUMENT, &copy, sizeof copy);
    }
    if (isRiffLike(familyOf(writer.getFormat())))
        writer.setChunks(cueChunks(cues));
    else if (!cues.empty())
        setCues(writer.getHandle(), cues);
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
    if (!sharesChunksWith(written.family))
        listTranslationLosses(written, items);
    if (!saysOfChannels(written))
        items.emplace_back("the loudspeaker positions of the channels");
    std::ranges::copy(uncarried, std::back_inserter(items));

    std::vector<std::string> lines;
    for (const auto& item : items)
        lines.push_back(fmt::format("not kept in the {} file: {}", written.container, item));
    return lines;
}

void FileMetadata::listChunkLosses(const FileMetadata& written,
                                   std::vector<std::string>& items) const
{
    const bool isShared = sharesChunksWith(written.family);
    // A set, for there may be tens of thousands of chunks. That of the broadcast extension changed.
    const auto keyOf = [](const RawChunk& chunk)
    { return std::pair(chunk.id, chunk.id == broadcastExtension ? "" : asText(chunk.data)); };
    std::set<std::pair<std::string, std::string_view>> copies;
    for (const auto& chunk : written.chunks)
        copies.insert(keyOf(chunk));
    for (const auto& chunk : chunks)
    {
        const bool isKept = isShared ? copies.contains(keyOf(chunk)) : isTranslated(chunk);
        if (!isKept)
            items.push_back(describe(chunk));
    }
}

void FileMetadata::listTranslationLosses(const FileMetadata& written,
                                         std::vector<std::string>& items) const
{
    for (const auto& named : namedStrings)
    {
        const auto own = strings.find(named.number);
        const auto other = written.strings.find(named.number);
        // The library adds its own name to that of the software.
        const bool isKept = own == strings.end() || (other != written.strings.end() &&
                                                     other->second.starts_with(own->second));
        if (!isKept)
            items.push_back(fmt::format("the {} \"{}\"", named.name, own->second));
    }
    if (!hasSamePlaces(cues, written.cues))
        items.push_back(counted(std::ssize(cues), "cue point"));
    else if (!hasSameNames(cues, written.cues))
        items.emplace_back("names of cue points");
    if (instrument && !written.instrument)
        items.emplace_back("the instrument and its loops");
}

bool FileMetadata::saysOfChannels(const FileMetadata& written) const
{
    if (isAmbisonic)
        return written.isAmbisonic;
    // Every program plays one or two channels alike without being told.
    return channelMap.size() < 3 || channelMap == written.channelMap;
}

} // namespace kalim
