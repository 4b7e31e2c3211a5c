#include "audiofile/Markers.h"

#include "audiofile/ChunkBytes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <set>
#include <string_view>

namespace kalim
{
namespace
{

constexpr std::size_t shortNumber = 2;
constexpr std::size_t plainNumber = 4;
constexpr std::size_t longNumber = 8;

using Names = std::map<std::uint32_t, std::string>;

std::string upToZero(std::string_view text)
{
    return std::string(text.substr(0, text.find('\0')));
}

bool isLabels(const RawChunk& chunk)
{
    return chunk.id == "LIST" && asText(chunk.data).starts_with("adtl");
}

void readLabels(const ChunkLayout& layout, const RawChunk& chunk, Names& names)
{
    ChunkParser parser(layout, chunk.data);
    parser.take(plainNumber);
    while (!parser.isAtEnd())
    {
        const auto id = parser.takeText(plainNumber);
        const auto size = parser.takeNumber(plainNumber);
        ChunkParser label(layout, parser.take(size));
        parser.take(size % 2);
        const auto marker = static_cast<std::uint32_t>(label.takeNumber(plainNumber));
        if (id == "labl")
            names.emplace(marker, upToZero(label.takeText(size)));
    }
}

/// Number, place in a play list, chunk, two offsets of blocks, and the frame.
std::vector<Marker> readCues(const ChunkLayout& layout, const RawChunk& chunk)
{
    std::vector<Marker> markers;
    ChunkParser parser(layout, chunk.data);
    const auto count = parser.takeNumber(plainNumber);
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        const auto id = static_cast<std::uint32_t>(parser.takeNumber(plainNumber));
        parser.take(4 * plainNumber);
        markers.push_back({id, static_cast<std::int64_t>(parser.takeNumber(plainNumber)), ""});
    }
    return markers;
}

std::vector<Marker> readAiffMarkers(const ChunkLayout& layout, const RawChunk& chunk)
{
    std::vector<Marker> markers;
    ChunkParser parser(layout, chunk.data);
    const auto count = parser.takeNumber(shortNumber);
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        const auto id = static_cast<std::uint32_t>(parser.takeNumber(shortNumber));
        const auto frame = static_cast<std::int64_t>(parser.takeNumber(plainNumber));
        const auto length = parser.takeNumber(1);
        markers.push_back({id, frame, std::string(parser.takeText(length))});
        parser.take((length + 1) % 2);
    }
    return markers;
}

/// Kind, frame as a floating-point number, number, time code, channel.
std::vector<Marker> readCafMarkers(const ChunkLayout& layout, const RawChunk& chunk)
{
    constexpr double largest = 9.0e18;
    std::vector<Marker> markers;
    ChunkParser parser(layout, chunk.data);
    parser.take(plainNumber);
    const auto count = parser.takeNumber(plainNumber);
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        parser.take(plainNumber);
        const auto frame = std::bit_cast<double>(parser.takeNumber(longNumber));
        const auto id = static_cast<std::uint32_t>(parser.takeNumber(plainNumber));
        parser.take(longNumber + plainNumber);
        if (frame >= 0 && frame < largest)
            markers.push_back({id, static_cast<std::int64_t>(frame), ""});
    }
    return markers;
}

/// A list of numbers and offsets, and the texts that these lead to.
void readCafStrings(const ChunkLayout& layout, const RawChunk& chunk, Names& names)
{
    ChunkParser parser(layout, chunk.data);
    const auto count = parser.takeNumber(plainNumber);
    constexpr std::size_t entryBytes = plainNumber + longNumber;
    const auto texts =
        asText(chunk.data)
            .substr(std::min<std::uint64_t>(plainNumber + count * entryBytes, chunk.data.size()));
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        const auto id = static_cast<std::uint32_t>(parser.takeNumber(plainNumber));
        const auto offset = parser.takeNumber(longNumber);
        if (offset < texts.size())
            names.emplace(id, upToZero(texts.substr(offset)));
    }
}

std::vector<RawChunk> riffChunks(const ChunkLayout& layout, const std::vector<Marker>& markers)
{
    const auto inner = riffLayout(layout.isBigEndian);
    ChunkWriter cues(inner);
    ChunkWriter labels(inner);
    cues.addNumber(markers.size(), plainNumber);
    labels.addText("adtl");
    for (const auto& marker : markers)
    {
        const auto frame = static_cast<std::uint64_t>(marker.frame);
        cues.addNumber(marker.number, plainNumber);
        cues.addNumber(frame, plainNumber);
        cues.addText("data");
        cues.addNumber(0, longNumber);
        cues.addNumber(frame, plainNumber);
        ChunkWriter label(inner);
        label.addNumber(marker.number, plainNumber);
        label.addText(marker.name + '\0');
        if (!marker.name.empty())
            labels.add(inner.serialised("labl", label.bytes));
    }
    std::vector<RawChunk> chunks{{"cue ", cues.bytes, true}};
    if (labels.bytes.size() > plainNumber)
        chunks.push_back({"LIST", labels.bytes, true});
    return chunks;
}

/// Numbers are positive and of 16 bits.
bool isAiffNumber(std::uint32_t id)
{
    return id > 0 && id < 0x8000;
}

void giveAiffNumbers(std::vector<Marker>& markers)
{
    std::set<std::uint32_t> used;
    const bool isValid = std::ranges::all_of(
        markers, [&](const Marker& marker)
        { return isAiffNumber(marker.number) && used.insert(marker.number).second; });
    std::uint32_t next = 0;
    if (!isValid)
        for (auto& marker : markers)
            marker.number = ++next;
}

RawChunk aiffMarkers(const ChunkLayout& layout, const std::vector<Marker>& markers)
{
    constexpr std::size_t longestName = 255;
    ChunkWriter list(layout);
    list.addNumber(markers.size(), shortNumber);
    for (const auto& marker : markers)
    {
        const auto name = marker.name.substr(0, longestName);
        list.addNumber(marker.number, shortNumber);
        list.addNumber(static_cast<std::uint64_t>(marker.frame), plainNumber);
        list.addNumber(name.size(), 1);
        list.addText(name);
        if (name.size() % 2 == 0)
            list.addNumber(0, 1);
    }
    return {"MARK", list.bytes, false};
}

std::vector<RawChunk> cafChunks(const ChunkLayout& layout, const std::vector<Marker>& markers)
{
    ChunkWriter list(layout);
    ChunkWriter entries(layout);
    std::string texts;
    std::uint64_t numNames = 0;
    list.addNumber(0, plainNumber);
    list.addNumber(markers.size(), plainNumber);
    for (const auto& marker : markers)
    {
        list.addNumber(0, plainNumber);
        list.addNumber(std::bit_cast<std::uint64_t>(static_cast<double>(marker.frame)), longNumber);
        list.addNumber(marker.number, plainNumber);
        // No time code, and all channels.
        list.addNumber(~std::uint64_t{0}, longNumber);
        list.addNumber(0, plainNumber);
        if (marker.name.empty())
            continue;
        entries.addNumber(marker.number, plainNumber);
        entries.addNumber(texts.size(), longNumber);
        texts += marker.name + '\0';
        ++numNames;
    }
    ChunkWriter strings(layout);
    strings.addNumber(numNames, plainNumber);
    strings.add(entries.bytes);
    strings.addText(texts);
    return {{"mark", list.bytes, false}, {"strg", strings.bytes, false}};
}

} // namespace

std::vector<Marker> markersOf(const ChunkLayout& layout, const std::vector<RawChunk>& chunks)
{
    std::vector<Marker> markers;
    Names names;
    for (const auto& chunk : chunks)
    {
        if (chunk.id == "cue ")
            markers = readCues(layout, chunk);
        else if (layout.family == ChunkFamily::aiff && chunk.id == "MARK")
            markers = readAiffMarkers(layout, chunk);
        else if (layout.family == ChunkFamily::caf && chunk.id == "mark")
            markers = readCafMarkers(layout, chunk);
        else if (layout.family == ChunkFamily::caf && chunk.id == "strg")
            readCafStrings(layout, chunk, names);
        else if (isLabels(chunk))
            readLabels(layout, chunk, names);
    }
    for (auto& marker : markers)
        if (const auto found = names.find(marker.number); found != names.end())
            marker.name = found->second;
    return markers;
}

bool isMarkerChunk(const ChunkLayout& layout, const RawChunk& chunk)
{
    switch (layout.family)
    {
    case ChunkFamily::aiff:
        return chunk.id == "MARK";
    case ChunkFamily::caf:
        return chunk.id == "mark" || chunk.id == "strg";
    default:
        return chunk.id == "cue " || isLabels(chunk);
    }
}

std::vector<RawChunk> markerChunks(const ChunkLayout& layout, const std::vector<Marker>& markers)
{
    if (markers.empty())
        return {};
    if (layout.family == ChunkFamily::caf)
        return cafChunks(layout, markers);
    if (layout.family == ChunkFamily::aiff)
        return {aiffMarkers(layout, markers)};
    return riffChunks(layout, markers);
}

void makeValid(const ChunkLayout& layout, std::vector<Marker>& markers)
{
    if (layout.family == ChunkFamily::aiff)
        giveAiffNumbers(markers);
}

} // namespace kalim
