#include "audiofile/ChunkTags.h"

#include "audiofile/ChunkBytes.h"
#include "audiofile/TagFiles.h"
#include "base/Text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

struct FieldName
{
    std::string_view field;
    std::string_view id;
};

/// Those of INFO that have a common name; others keep their own.
constexpr std::array infoNames{FieldName{"TITLE", "INAM"},       FieldName{"ARTIST", "IART"},
                               FieldName{"ALBUM", "IPRD"},       FieldName{"COMMENT", "ICMT"},
                               FieldName{"DATE", "ICRD"},        FieldName{"GENRE", "IGNR"},
                               FieldName{"COPYRIGHT", "ICOP"},   FieldName{"ENCODER", "ISFT"},
                               FieldName{"TRACKNUMBER", "ITRK"}, FieldName{"TRACKNUMBER", "IPRT"},
                               FieldName{"ENCODEDBY", "ITCH"},   FieldName{"LANGUAGE", "ILNG"},
                               FieldName{"COMPOSER", "IMUS"},    FieldName{"ENGINEER", "IENG"},
                               FieldName{"LYRICIST", "IWRI"},    FieldName{"MEDIA", "IMED"},
                               FieldName{"SOURCE", "ISRC"}};

constexpr std::array aiffNames{FieldName{"TITLE", "NAME"}, FieldName{"ARTIST", "AUTH"},
                               FieldName{"COPYRIGHT", "(c) "}, FieldName{"COMMENT", "ANNO"}};

/// The first name of a field is the one that is written.
constexpr std::array cafNames{FieldName{"TRACKNUMBER", "track number"},
                              FieldName{"TRACKNUMBER", "track"},
                              FieldName{"COMMENT", "comments"},
                              FieldName{"DATE", "recorded date"},
                              FieldName{"DATE", "year"},
                              FieldName{"ENCODER", "encoding application"},
                              FieldName{"ALBUMARTIST", "album_artist"}};

/// Where a field is a chunk of its own and may be repeated.
constexpr std::string_view annotation = "ANNO";

/// An application chunk of this signature names the program that made the file.
constexpr std::string_view softwareSignature = "m3ga";

/// W64's own list of tags, whose texts are of 16-bit units.
constexpr std::string_view
    wave64List("\xbc\x94\x5f\x92\x5a\x52\xd2\x11\x86\xdc\x00\xc0\x4f\x8e\xdb\x8a", 16);

template <typename Table>
std::string fieldOf(const Table& names, std::string_view id)
{
    const auto* found = std::ranges::find(names, id, &FieldName::id);
    return std::string(found == names.end() ? id : found->field);
}

template <typename Table>
std::string idOf(const Table& names, std::string_view field)
{
    const auto* found = std::ranges::find(names, field, &FieldName::field);
    return std::string(found == names.end() ? "" : found->id);
}

void appendUtf8(std::string& text, std::uint32_t code)
{
    const auto add = [&](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto addRest = [&](int shift) { add(0x80U | (code >> shift & 0x3fU)); };
    if (code < 0x80)
        return add(code);
    if (code < 0x800)
        add(0xc0U | code >> 6);
    else if (code < 0x10000)
        add(0xe0U | code >> 12), addRest(6);
    else
        add(0xf0U | code >> 18), addRest(12), addRest(6);
    addRest(0);
}

/// Up to the zero that ends it. Old programs wrote Latin letters of one byte each.
std::string textOf(std::string_view bytes)
{
    const std::string text(bytes.substr(0, bytes.find('\0')));
    if (validUtf8(text) == text)
        return text;
    std::string result;
    for (const char c : text)
        appendUtf8(result, static_cast<unsigned char>(c));
    return result;
}

std::string textOfUtf16(const ChunkLayout& layout, std::span<const std::byte> bytes)
{
    std::string text;
    ChunkParser parser(layout, bytes);
    while (const auto unit = static_cast<std::uint32_t>(parser.takeNumber(2)))
    {
        const bool isFirstHalf = unit >= 0xd800 && unit < 0xdc00;
        const auto second = isFirstHalf ? static_cast<std::uint32_t>(parser.takeNumber(2)) : 0;
        appendUtf8(text,
                   isFirstHalf ? 0x10000 + ((unit & 0x3ffU) << 10) + (second & 0x3ffU) : unit);
    }
    return validUtf8(text);
}

/// The text is valid UTF-8.
void addUtf16(ChunkWriter& writer, std::string_view text)
{
    for (std::size_t i = 0; i < text.size();)
    {
        const auto first = static_cast<unsigned char>(text[i]);
        const std::size_t count = first < 0x80 ? 1 : (first < 0xe0 ? 2 : (first < 0xf0 ? 3 : 4));
        std::uint32_t code = count == 1 ? first : first & (0x7fU >> count);
        for (std::size_t k = 1; k < count && i + k < text.size(); ++k)
            code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3fU);
        i += count;
        if (code >= 0x10000)
        {
            code -= 0x10000;
            writer.addNumber(0xd800U + (code >> 10), 2);
            code = 0xdc00U + (code & 0x3ffU);
        }
        writer.addNumber(code, 2);
    }
    writer.addNumber(0, 2);
}

bool isInfo(const RawChunk& chunk)
{
    return chunk.id == "LIST" && asText(chunk.data).starts_with("INFO");
}

bool isId3(const RawChunk& chunk)
{
    return lowered(chunk.id) == "id3 ";
}

Tags tagsOfInfo(const ChunkLayout& layout, const RawChunk& chunk)
{
    Tags tags;
    ChunkParser parser(layout, chunk.data);
    parser.take(4);
    while (!parser.isAtEnd())
    {
        const auto id = parser.takeText(4);
        const auto size = parser.takeNumber(4);
        tags.add(fieldOf(infoNames, id), textOf(parser.takeText(size)));
        parser.take(size % 2);
    }
    return tags;
}

Tags tagsOfWave64List(const ChunkLayout& layout, const RawChunk& chunk)
{
    Tags tags;
    ChunkParser parser(layout, chunk.data);
    const auto count = parser.takeNumber(4);
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        const auto id = parser.takeText(4);
        const auto text = parser.take(parser.takeNumber(4));
        if (id.size() == 4 && validUtf8(std::string(id)) == id)
            tags.add(fieldOf(infoNames, id), textOfUtf16(layout, text));
    }
    return tags;
}

/// Without their dates and markers, see hasDatedComments().
Tags tagsOfAiffComments(const ChunkLayout& layout, const RawChunk& chunk)
{
    Tags tags;
    ChunkParser parser(layout, chunk.data);
    const auto count = parser.takeNumber(2);
    for (std::uint64_t i = 0; i < count && !parser.isAtEnd(); ++i)
    {
        parser.take(6);
        const auto size = parser.takeNumber(2);
        tags.add("COMMENT", textOf(parser.takeText(size)));
        parser.take(size % 2);
    }
    return tags;
}

Tags tagsOfCafInfo(const ChunkLayout& layout, const RawChunk& chunk)
{
    Tags tags;
    ChunkParser parser(layout, chunk.data);
    parser.take(4);
    auto text = parser.takeText(chunk.data.size());
    while (!text.empty())
    {
        const auto takeText = [&]
        {
            const auto part = text.substr(0, text.find('\0'));
            text.remove_prefix(std::min(part.size() + 1, text.size()));
            return textOf(part);
        };
        const auto key = lowered(takeText());
        auto field = fieldOf(cafNames, key);
        std::ranges::transform(field, field.begin(),
                               [](char c)
                               { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
        tags.add(field, takeText());
    }
    return tags;
}

bool isAiffText(const RawChunk& chunk)
{
    return std::ranges::find(aiffNames, chunk.id, &FieldName::id) != aiffNames.end();
}

bool isAiffSoftware(const RawChunk& chunk)
{
    return chunk.id == "APPL" && asText(chunk.data).starts_with(softwareSignature);
}

Tags tagsOfAiffChunk(const ChunkLayout& layout, const RawChunk& chunk)
{
    if (chunk.id == "COMT")
        return tagsOfAiffComments(layout, chunk);
    Tags tags;
    if (isAiffSoftware(chunk))
        tags.add("ENCODER", textOf(asText(chunk.data).substr(softwareSignature.size())));
    else if (isAiffText(chunk))
        tags.add(fieldOf(aiffNames, chunk.id), textOf(asText(chunk.data)));
    return tags;
}

Tags tagsOfChunk(const ChunkLayout& layout, const RawChunk& chunk)
{
    if (isInfo(chunk))
        return tagsOfInfo(layout, chunk);
    if (chunk.id == wave64List)
        return tagsOfWave64List(layout, chunk);
    return layout.family == ChunkFamily::caf ? tagsOfCafInfo(layout, chunk)
                                             : tagsOfAiffChunk(layout, chunk);
}

/// The identifier of a field in INFO, empty if it has none.
std::string infoIdOf(const std::string& field)
{
    const bool isOwnName =
        field.size() == 4 && field[0] == 'I' &&
        std::ranges::all_of(field, [](char c)
                            { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
    const auto id = idOf(infoNames, field);
    // A name that INFO uses for something else, such as ISRC, is none.
    return id.empty() && isOwnName && fieldOf(infoNames, field) == field ? field : id;
}

RawChunk infoOf(const ChunkLayout& layout, const Tags& tags)
{
    ChunkWriter list(riffLayout(layout.isBigEndian));
    list.addText("INFO");
    for (const auto& [field, values] : tags.fields)
        if (const auto id = infoIdOf(field); !id.empty())
        {
            const auto text = values.front() + '\0';
            list.add(list.layout.serialised(id, std::as_bytes(std::span(text))));
        }
    return {"LIST", list.bytes, true};
}

RawChunk wave64ListOf(const ChunkLayout& layout, const Tags& tags)
{
    ChunkWriter entries(layout);
    std::uint64_t count = 0;
    for (const auto& [field, values] : tags.fields)
        if (const auto id = infoIdOf(field); !id.empty())
        {
            ChunkWriter text(layout);
            addUtf16(text, validUtf8(values.front()));
            entries.addText(id);
            entries.addNumber(text.bytes.size(), 4);
            entries.add(text.bytes);
            ++count;
        }
    ChunkWriter list(layout);
    list.addNumber(count, 4);
    list.add(entries.bytes);
    return {std::string(wave64List), list.bytes, true};
}

std::vector<RawChunk> aiffTextsOf(const Tags& tags)
{
    std::vector<RawChunk> chunks;
    for (const auto& name : aiffNames)
        if (const auto found = tags.fields.find(std::string(name.field));
            found != tags.fields.end())
            for (const auto& value : found->second)
                if (name.id == annotation || &value == &found->second.front())
                {
                    const auto bytes = std::as_bytes(std::span(value));
                    chunks.push_back({std::string(name.id), {bytes.begin(), bytes.end()}, false});
                }
    return chunks;
}

RawChunk cafInfoOf(const ChunkLayout& layout, const Tags& tags)
{
    ChunkWriter info(layout);
    info.addNumber(tags.fields.size(), 4);
    for (const auto& [field, values] : tags.fields)
    {
        const auto key = idOf(cafNames, field);
        info.addText((key.empty() ? lowered(field) : key) + '\0');
        info.addText(joined(values) + '\0');
    }
    return {"info", info.bytes, false};
}

std::vector<RawChunk> plainChunksOf(const ChunkLayout& layout, const Tags& tags)
{
    if (tags.fields.empty())
        return {};
    switch (layout.family)
    {
    case ChunkFamily::riff:
        return {infoOf(layout, tags)};
    case ChunkFamily::wave64:
        return {wave64ListOf(layout, tags)};
    case ChunkFamily::aiff:
        return aiffTextsOf(tags);
    case ChunkFamily::caf:
        return {cafInfoOf(layout, tags)};
    }
    return {};
}

/// An empty list is not worth a chunk.
bool isWorthwhile(const RawChunk& chunk)
{
    constexpr std::size_t headOfList = 4;
    return chunk.data.size() > headOfList || isAiffText(chunk);
}

} // namespace

bool isTagChunk(const ChunkLayout& layout, const RawChunk& chunk)
{
    switch (layout.family)
    {
    case ChunkFamily::riff:
        return isInfo(chunk) || isId3(chunk);
    case ChunkFamily::wave64:
        return isInfo(chunk) || isId3(chunk) || chunk.id == wave64List;
    case ChunkFamily::aiff:
        return isAiffText(chunk) || isAiffSoftware(chunk) || isId3(chunk) || chunk.id == "COMT";
    case ChunkFamily::caf:
        return chunk.id == "info";
    }
    return false;
}

bool hasDatedComments(const RawChunk& chunk)
{
    if (chunk.id != "COMT")
        return false;
    ChunkParser parser(layoutOf(ChunkFamily::aiff, true), chunk.data);
    parser.take(2);
    while (!parser.isAtEnd())
    {
        if (parser.takeNumber(4) != 0 || parser.takeNumber(2) != 0)
            return true;
        const auto size = parser.takeNumber(2);
        parser.take(size + size % 2);
    }
    return false;
}

Tags tagsOfChunks(const ChunkLayout& layout, const std::vector<RawChunk>& chunks)
{
    Tags own;
    Tags id3;
    for (const auto& chunk : chunks)
    {
        if (!isTagChunk(layout, chunk))
            continue;
        if (isId3(chunk))
            id3.addMissing(tagsOfId3(chunk.data));
        else
            for (const auto& [name, values] : tagsOfChunk(layout, chunk).fields)
                std::ranges::copy(values, std::back_inserter(own.fields[name]));
    }
    id3.addMissing(own);
    return id3;
}

std::vector<RawChunk> chunksOfTags(const ChunkLayout& layout, const Tags& tags)
{
    auto chunks = plainChunksOf(layout, tags);
    std::erase_if(chunks, [](const RawChunk& chunk) { return !isWorthwhile(chunk); });
    if (layout.family == ChunkFamily::caf)
        return chunks;
    const auto plain = tagsOfChunks(layout, chunks);
    const bool isEnough = tags.id3.empty() && tags.pictures.empty() && plain.fields == tags.fields;
    if (!isEnough)
        if (auto id3 = id3Of(tags); !id3.empty())
            chunks.push_back({layout.family == ChunkFamily::aiff ? "ID3 " : "id3 ", std::move(id3),
                              layout.family != ChunkFamily::aiff});
    return chunks;
}

} // namespace kalim
