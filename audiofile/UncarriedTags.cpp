#include "audiofile/UncarriedTags.h"

#include "audiofile/FileBytes.h"
#include "audiofile/OggPages.h"
#include "base/Text.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <string_view>

namespace kalim
{
namespace
{

bool contains(const auto& list, const std::string& item)
{
    return std::ranges::find(list, item) != list.end();
}

/// Files are not trusted: a name may hold anything, and a message is one line.
std::string shown(std::string name)
{
    std::ranges::replace_if(
        name, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return name;
}

/// Finds out what is lost when only some kinds of tags can be carried.
class TagInventory
{
public:
    /// Names in lower case: those of which the first tag is carried, and those that hold a picture.
    TagInventory(std::span<const std::string_view> carried,
                 std::span<const std::string_view> pictures)
        : carriedNames(carried)
        , pictureNames(pictures)
    {
    }

    /// Counts a tag of the file.
    void add(const std::string& name)
    {
        const auto key = lowered(name);
        if (contains(pictureNames, key))
        {
            ++pictureCount;
            return;
        }
        const bool isCarried = contains(carriedNames, key);
        const int count = ++counts[key];
        if (!isCarried && count == 1)
            lost.push_back(shown(name));
        if (isCarried && count == 2)
            lost.push_back("a second " + name);
    }

    /// What is lost: "2 pictures", "the tags MOOD, ISRC, a second ARTIST".
    std::vector<std::string> getLosses() const
    {
        std::vector<std::string> phrases;
        if (pictureCount > 0)
            phrases.push_back(counted(pictureCount, "picture"));
        if (!lost.empty())
            phrases.push_back(fmt::format("the tags {}", fmt::join(lost, ", ")));
        return phrases;
    }

private:
    std::span<const std::string_view> carriedNames;
    std::span<const std::string_view> pictureNames;
    std::map<std::string, int> counts;
    std::vector<std::string> lost;
    std::ptrdiff_t pictureCount = 0;
};

using Bytes = std::span<const std::byte>;

/// The tags that the audio library carries. The encoder is that of the input's samples and says
/// nothing of the output.
constexpr std::array<std::string_view, 11> carriedComments{
    "title", "copyright", "software",    "artist", "comment", "date",
    "album", "license",   "tracknumber", "genre",  "encoder"};

constexpr std::array<std::string_view, 2> pictureComments{"metadata_block_picture", "coverart"};

/// The next text with its length in front, which is taken off the bytes.
std::optional<std::string_view> takeText(Bytes& bytes)
{
    if (bytes.size() < 4)
        return {};
    const auto length = littleEndian(bytes.first(4));
    bytes = bytes.subspan(4);
    if (length > bytes.size())
        return {};
    const auto text = asText(bytes.first(length));
    bytes = bytes.subspan(length);
    return text;
}

/// Takes the comments from the length of the vendor's name on, as in FLAC, Ogg and Opus.
std::vector<std::string> uncarriedVorbisComments(Bytes bytes)
{
    TagInventory inventory(carriedComments, pictureComments);
    constexpr std::size_t countBytes = 4;
    if (!takeText(bytes) || bytes.size() < countBytes)
        return {};
    auto count = littleEndian(bytes.first(countBytes));
    bytes = bytes.subspan(countBytes);
    for (auto comment = takeText(bytes); comment && count > 0; comment = takeText(bytes), --count)
        if (const auto name = comment->substr(0, comment->find('=')); !name.empty())
            inventory.add(std::string(name));
    return inventory.getLosses();
}

/// The frames that the audio library carries, with the three-letter names of version 2.2. Length
/// and encoder say nothing of the output.
constexpr std::array<std::string_view, 21> carriedFrames{
    "tit2", "tpe1", "talb", "trck", "tcon", "tcop", "comm", "tyer", "tdrc", "tsse", "tenc",
    "tt2",  "tp1",  "tal",  "trk",  "tco",  "tcr",  "com",  "tye",  "tss",  "tlen"};

constexpr std::array<std::string_view, 2> pictureFrames{"apic", "pic"};

constexpr std::int64_t id3HeaderBytes = 10;

struct Id3Header
{
    int version;
    unsigned flags;
    std::int64_t size;

    bool isUnsynchronised() const { return (flags & 0x80U) != 0 && version < 4; }

    bool isExtended() const { return (flags & 0x40U) != 0 && version > 2; }
};

/// Numbers of seven bits a byte, which never look like the start of sound.
std::size_t sevenBitNumber(Bytes bytes)
{
    std::size_t number = 0;
    for (const auto byte : bytes)
        number = number << 7 | (std::to_integer<std::size_t>(byte) & 0x7fU);
    return number;
}

std::optional<Id3Header> id3HeaderOf(int descriptor)
{
    const auto bytes = readBytesAt(descriptor, 0, id3HeaderBytes);
    if (!asText(bytes).starts_with("ID3") || std::ssize(bytes) < id3HeaderBytes)
        return {};
    return Id3Header{std::to_integer<int>(bytes[3]), std::to_integer<unsigned>(bytes[5]),
                     static_cast<std::int64_t>(sevenBitNumber(Bytes(bytes).subspan(6)))};
}

/// Takes out the zeros that were put in so that nothing looks like the start of sound.
std::vector<std::byte> resynchronised(Bytes bytes)
{
    std::vector<std::byte> result;
    bool isAfterOnes = false;
    for (const auto byte : bytes)
    {
        if (!isAfterOnes || byte != std::byte{0})
            result.push_back(byte);
        isAfterOnes = byte == std::byte{0xff};
    }
    return result;
}

Bytes withoutFirst(Bytes bytes, std::size_t count)
{
    return bytes.subspan(std::min(count, bytes.size()));
}

Bytes withoutExtendedHeader(Bytes bytes, int version)
{
    constexpr std::size_t sizeBytes = 4;
    const auto field = bytes.first(std::min(sizeBytes, bytes.size()));
    return withoutFirst(bytes, version == 3 ? sizeBytes + bigEndian(field) : sevenBitNumber(field));
}

bool isFrameName(std::string_view name)
{
    return std::ranges::all_of(name, [](char c)
                               { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

/// Frames follow one another until padding or damage.
std::vector<std::string> frameNames(Bytes bytes, int version)
{
    const std::size_t nameBytes = version == 2 ? 3 : 4;
    const std::size_t frameHeader = version == 2 ? 6 : 10;
    std::vector<std::string> names;
    while (bytes.size() >= frameHeader)
    {
        const auto name = asText(bytes.first(nameBytes));
        if (!isFrameName(name))
            break;
        names.emplace_back(name);
        const auto size = bytes.subspan(nameBytes, nameBytes);
        const auto dataBytes = version == 4 ? sevenBitNumber(size) : bigEndian(size);
        bytes = withoutFirst(bytes, frameHeader + dataBytes);
    }
    return names;
}

/// Where the ID3 tag ends that a file starts with, 0 if it has none.
std::int64_t endOfId3Tag(int descriptor)
{
    const auto header = id3HeaderOf(descriptor);
    return header ? id3HeaderBytes + header->size : 0;
}

/// Reads versions 2.2 to 2.4, up to damage.
std::vector<std::string> uncarriedId3Frames(int descriptor)
{
    const auto header = id3HeaderOf(descriptor);
    if (!header || header->version < 2 || header->version > 4)
        return {};
    auto bytes = readBytesAt(descriptor, id3HeaderBytes, header->size);
    if (header->isUnsynchronised())
        bytes = resynchronised(bytes);
    const auto frames =
        header->isExtended() ? withoutExtendedHeader(bytes, header->version) : Bytes(bytes);
    TagInventory inventory(carriedFrames, pictureFrames);
    for (const auto& name : frameNames(frames, header->version))
        inventory.add(name);
    return inventory.getLosses();
}

enum FlacBlockType : std::uint8_t
{
    application = 2,
    comments = 4,
    cueSheet = 5,
    picture = 6
};

struct FlacBlock
{
    int type;
    bool isLast;
    std::int64_t start;
    std::int64_t size;
};

/// The marker stands at the start, or behind an ID3 tag that some programs put there.
std::int64_t startOfFlacBlocks(int descriptor)
{
    const auto offset = endOfId3Tag(descriptor);
    const auto marker = readBytesAt(descriptor, offset, 4);
    return asText(marker) == "fLaC" ? offset + 4 : -1;
}

std::optional<FlacBlock> flacBlockAt(int descriptor, std::int64_t offset)
{
    const auto header = readBytesAt(descriptor, offset, 4);
    if (header.size() < 4)
        return {};
    const auto first = std::to_integer<int>(header[0]);
    const auto size = static_cast<std::int64_t>(bigEndian(std::span(header).subspan(1)));
    return FlacBlock{first & 0x7f, (first & 0x80) != 0, offset + 4, size};
}

std::vector<FlacBlock> flacBlocksOf(int descriptor)
{
    std::vector<FlacBlock> blocks;
    auto offset = startOfFlacBlocks(descriptor);
    while (offset >= 0)
    {
        const auto block = flacBlockAt(descriptor, offset);
        if (!block)
            break;
        blocks.push_back(*block);
        offset = block->isLast ? -1 : block->start + block->size;
    }
    return blocks;
}

std::vector<std::string> uncarriedFlacBlocks(int descriptor)
{
    const auto blocks = flacBlocksOf(descriptor);
    std::vector<std::string> phrases;
    const auto count = [&](FlacBlockType type, std::string_view thing)
    {
        if (const auto found = std::ranges::count(blocks, static_cast<int>(type), &FlacBlock::type))
            phrases.push_back(counted(found, thing));
    };
    count(picture, "picture");
    count(cueSheet, "cue sheet");
    count(application, "application block");

    for (const auto& block : blocks)
        if (block.type == comments)
            std::ranges::copy(
                uncarriedVorbisComments(readBytesAt(descriptor, block.start, block.size)),
                std::back_inserter(phrases));
    return phrases;
}

std::vector<std::string> uncarriedOggTags(int descriptor)
{
    constexpr int numberOfComments = 1;
    const auto packet = oggPacket(descriptor, numberOfComments);
    if (!packet)
        return {};
    for (const std::string_view mark : {"\x03vorbis", "OpusTags"})
        if (asText(*packet).starts_with(mark))
            return uncarriedVorbisComments(std::span(*packet).subspan(mark.size()));
    return {};
}

} // namespace

std::vector<std::string> uncarriedTags(const AudioFileReader& reader)
{
    switch (reader.getFormat().getContainer())
    {
    case SF_FORMAT_FLAC:
        return uncarriedFlacBlocks(reader.getDescriptor());
    case SF_FORMAT_OGG:
        return uncarriedOggTags(reader.getDescriptor());
    case SF_FORMAT_MPEG:
        return uncarriedId3Frames(reader.getDescriptor());
    default:
        return {};
    }
}

} // namespace kalim
