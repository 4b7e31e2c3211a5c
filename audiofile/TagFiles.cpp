#include "audiofile/TagFiles.h"

#include "audiofile/FileBytes.h"
#include "audiofile/TagStream.h"

#include <sndfile.h>

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/asftag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tbytevectorstream.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/xiphcomment.h>

namespace kalim
{
namespace
{

namespace ID3v2 = TagLib::ID3v2;
using TagLib::ByteVector;
using TagLib::PropertyMap;

constexpr bool utf8 = true;

/// How the tag library and most programs name the program that made a file.
constexpr auto id3Encoder = "ENCODING";
constexpr auto encoder = "ENCODER";

ByteVector toLibrary(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size())};
}

std::vector<std::byte> fromLibrary(const ByteVector& bytes)
{
    const auto view = std::as_bytes(std::span(bytes.data(), bytes.size()));
    return {view.begin(), view.end()};
}

TagLib::String toLibrary(const std::string& text)
{
    return {text, TagLib::String::UTF8};
}

PropertyMap toLibrary(const Tags::Fields& fields)
{
    PropertyMap map;
    for (const auto& [name, values] : fields)
    {
        TagLib::StringList list;
        for (const auto& value : values)
            list.append(toLibrary(value));
        map.insert(toLibrary(name), list);
    }
    return map;
}

Tags fromLibrary(const PropertyMap& map)
{
    Tags tags;
    for (const auto& [name, values] : map)
        for (const auto& value : values)
            tags.add(name.to8Bit(utf8), value.to8Bit(utf8));
    return tags;
}

void rename(Tags::Fields& fields, const std::string& from, const std::string& to)
{
    if (!fields.contains(to))
        if (auto node = fields.extract(from))
        {
            node.key() = to;
            fields.insert(std::move(node));
        }
}

TagPicture fromLibrary(const TagLib::FLAC::Picture& picture)
{
    return {picture.type(),
            picture.mimeType().to8Bit(utf8),
            picture.description().to8Bit(utf8),
            picture.width(),
            picture.height(),
            picture.colorDepth(),
            picture.numColors(),
            fromLibrary(picture.data())};
}

/// The library takes the picture over.
std::unique_ptr<TagLib::FLAC::Picture> toLibrary(const TagPicture& picture)
{
    auto result = std::make_unique<TagLib::FLAC::Picture>();
    result->setType(static_cast<TagLib::FLAC::Picture::Type>(picture.kind));
    result->setMimeType(toLibrary(picture.mimeType));
    result->setDescription(toLibrary(picture.description));
    result->setWidth(picture.width);
    result->setHeight(picture.height);
    result->setColorDepth(picture.colourDepth);
    result->setNumColors(picture.numColours);
    result->setData(toLibrary(picture.data));
    return result;
}

std::unique_ptr<ID3v2::AttachedPictureFrame> toFrame(const TagPicture& picture)
{
    auto frame = std::make_unique<ID3v2::AttachedPictureFrame>();
    frame->setTextEncoding(TagLib::String::UTF8);
    frame->setType(static_cast<ID3v2::AttachedPictureFrame::Type>(picture.kind));
    frame->setMimeType(toLibrary(picture.mimeType));
    frame->setDescription(toLibrary(picture.description));
    frame->setPicture(toLibrary(picture.data));
    return frame;
}

Tags tagsOf(TagLib::Ogg::XiphComment* comment)
{
    if (comment == nullptr)
        return {};
    auto tags = fromLibrary(comment->properties());
    for (const auto* picture : comment->pictureList())
        tags.pictures.push_back(fromLibrary(*picture));
    return tags;
}

Tags tagsOf(const ID3v2::Tag* tag)
{
    if (tag == nullptr)
        return {};
    const auto properties = tag->properties();
    auto tags = fromLibrary(properties);
    rename(tags.fields, id3Encoder, encoder);
    for (const auto* frame : tag->frameListMap()["APIC"])
        if (const auto* picture = dynamic_cast<const ID3v2::AttachedPictureFrame*>(frame))
            tags.pictures.push_back({picture->type(), picture->mimeType().to8Bit(utf8),
                                     picture->description().to8Bit(utf8), 0, 0, 0, 0,
                                     fromLibrary(picture->picture())});
    for (const auto& name : properties.unsupportedData())
        if (!name.startsWith("APIC"))
            tags.id3Only.push_back(name.to8Bit(utf8));
    return tags;
}

/// The tag at the start of a file as it stands there.
std::vector<std::byte> id3Bytes(int descriptor, const ID3v2::Tag* tag)
{
    if (tag == nullptr || tag->header() == nullptr || tag->isEmpty())
        return {};
    auto bytes = readBytesAt(descriptor, 0, tag->header()->completeTagSize());
    return asText(bytes).starts_with("ID3") ? bytes : std::vector<std::byte>{};
}

/// The blocks behind the marker of a FLAC file.
std::vector<FlacBlock> readFlacBlocks(int descriptor, std::int64_t offset)
{
    std::vector<FlacBlock> blocks;
    constexpr std::int64_t blockHeaderBytes = 4;
    for (bool isLast = false; !isLast;)
    {
        const auto header = readBytesAt(descriptor, offset, blockHeaderBytes);
        if (std::ssize(header) < blockHeaderBytes)
            break;
        const auto first = std::to_integer<int>(header[0]);
        const auto size = static_cast<std::int64_t>(bigEndian(std::span(header).subspan(1)));
        const int type = first & 0x7f;
        isLast = (first & 0x80) != 0;
        if (type == FlacBlock::application || type == FlacBlock::cueSheet)
            blocks.push_back({type, readBytesAt(descriptor, offset + blockHeaderBytes, size)});
        offset += blockHeaderBytes + size;
    }
    return blocks;
}

Tags readFlac(int descriptor, TagStream& stream)
{
    TagLib::FLAC::File file(&stream, ID3v2::FrameFactory::instance(), false);
    auto tags = tagsOf(file.xiphComment());
    for (auto* picture : file.pictureList())
        tags.pictures.push_back(fromLibrary(*picture));
    std::int64_t start = 0;
    if (file.hasID3v2Tag())
    {
        start = file.ID3v2Tag()->header()->completeTagSize();
        tags.addMissing(tagsOf(file.ID3v2Tag()));
    }
    if (file.hasID3v1Tag())
        tags.addMissing(fromLibrary(file.ID3v1Tag()->properties()));
    const auto marker = readBytesAt(descriptor, start, 4);
    if (asText(marker) == "fLaC")
        tags.flacBlocks = readFlacBlocks(descriptor, start + 4);
    return tags;
}

Tags readMpeg(int descriptor, TagStream& stream)
{
    TagLib::MPEG::File file(&stream, ID3v2::FrameFactory::instance(), false);
    Tags tags;
    if (file.hasID3v2Tag())
    {
        tags = tagsOf(file.ID3v2Tag());
        tags.id3 = id3Bytes(descriptor, file.ID3v2Tag());
    }
    if (file.hasAPETag())
        tags.addMissing(fromLibrary(file.APETag()->properties()));
    if (file.hasID3v1Tag())
        tags.addMissing(fromLibrary(file.ID3v1Tag()->properties()));
    return tags;
}

void addPictures(Tags& tags, TagLib::MP4::Tag* tag)
{
    for (const auto& cover : tag->item("covr").toCoverArtList())
    {
        const bool isPng = cover.format() == TagLib::MP4::CoverArt::PNG;
        tags.pictures.push_back({TagLib::FLAC::Picture::FrontCover,
                                 isPng ? "image/png" : "image/jpeg", "", 0, 0, 0, 0,
                                 fromLibrary(cover.data())});
    }
}

void addPictures(Tags& tags, TagLib::ASF::Tag* tag)
{
    for (const auto& attribute : tag->attribute("WM/Picture"))
    {
        const auto picture = attribute.toPicture();
        if (picture.isValid())
            tags.pictures.push_back({picture.type(), picture.mimeType().to8Bit(utf8),
                                     picture.description().to8Bit(utf8), 0, 0, 0, 0,
                                     fromLibrary(picture.picture())});
    }
}

Tags readOther(TagStream& stream)
{
    const TagLib::FileRef file(&stream, false);
    if (file.isNull() || file.tag() == nullptr)
        return {};
    auto tags = fromLibrary(file.file()->properties());
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(file.file()))
        addPictures(tags, mp4->tag());
    if (auto* asf = dynamic_cast<TagLib::ASF::File*>(file.file()))
        addPictures(tags, asf->tag());
    return tags;
}

/// A tag in memory, which the tag library reads only from files.
class Id3InMemory
{
public:
    explicit Id3InMemory(std::span<const std::byte> id3)
        : stream(toLibrary(id3))
        , file(&stream, ID3v2::FrameFactory::instance(), false)
    {
    }

    ID3v2::Tag& getTag() { return *file.ID3v2Tag(true); }

private:
    TagLib::ByteVectorStream stream;
    TagLib::MPEG::File file;
};

/// The library has one such function for each kind of tag, and one that loses fields for all.
template <typename Tag>
void setFields(Tag& tag, const Tags::Fields& fields)
{
    tag.setProperties(toLibrary(fields));
}

void appendFlacBlock(std::vector<std::byte>& blocks, int type, std::span<const std::byte> data)
{
    constexpr std::size_t largest = 0xffffff;
    if (data.size() > largest)
        return;
    for (const auto byte :
         {static_cast<std::size_t>(type), data.size() >> 16, data.size() >> 8, data.size()})
        blocks.push_back(static_cast<std::byte>(byte & 0xffU));
    std::ranges::copy(data, std::back_inserter(blocks));
}

template <typename File>
void saveOgg(TagStream& stream, const Tags& tags)
{
    File file(&stream, false);
    if (!file.isValid() || file.tag() == nullptr)
        return;
    setFields(*file.tag(), tags.fields);
    for (const auto& picture : tags.pictures)
        file.tag()->addPicture(toLibrary(picture).release());
    file.save();
}

} // namespace

Tags readFileTags(const AudioFileReader& reader)
{
    const int descriptor = reader.getDescriptor();
    TagStream stream(descriptor, false);
    switch (reader.getFormat().getContainer())
    {
    case SF_FORMAT_FLAC:
        return readFlac(descriptor, stream);
    case SF_FORMAT_MPEG:
        return readMpeg(descriptor, stream);
    case SF_FORMAT_OGG:
        if (reader.getFormat().getSampleFormat() == SampleFormat::opus)
            return tagsOf(TagLib::Ogg::Opus::File(&stream, false).tag());
        return tagsOf(TagLib::Ogg::Vorbis::File(&stream, false).tag());
    default:
        return readOther(stream);
    }
}

Tags tagsOfId3(std::span<const std::byte> id3)
{
    Id3InMemory memory(id3);
    auto tags = tagsOf(&memory.getTag());
    tags.id3.assign(id3.begin(), id3.end());
    return tags;
}

std::vector<std::byte> id3Of(const Tags& tags)
{
    if (tags.fields.empty() && tags.pictures.empty() && tags.id3.empty())
        return {};
    Id3InMemory memory(tags.id3);
    auto& tag = memory.getTag();
    auto all = tagsOf(&tag);
    const auto pictures = missingPictures(tags.pictures, all.pictures);
    if (!tags.id3.empty() && all.fields == tags.fields && pictures.empty())
        return tags.id3;
    all.fields = tags.fields;
    rename(all.fields, encoder, id3Encoder);
    setFields(tag, all.fields);
    for (const auto& picture : pictures)
        tag.addFrame(toFrame(picture).release());
    return fromLibrary(tag.render(ID3v2::v4));
}

std::vector<std::byte> flacBlocksOf(const Tags& tags)
{
    std::vector<std::byte> blocks;
    if (tags.fields.empty() && tags.pictures.empty() && tags.flacBlocks.empty())
        return blocks;
    constexpr int comments = 4;
    constexpr int picture = 6;
    TagLib::Ogg::XiphComment comment;
    setFields(comment, tags.fields);
    appendFlacBlock(blocks, comments, fromLibrary(comment.render(false)));
    for (const auto& block : tags.flacBlocks)
        appendFlacBlock(blocks, block.type, block.data);
    for (const auto& one : tags.pictures)
        appendFlacBlock(blocks, picture, fromLibrary(toLibrary(one)->render()));
    return blocks;
}

void writeOggTags(int descriptor, const AudioFileFormat& format, const Tags& tags)
{
    if (tags.fields.empty() && tags.pictures.empty())
        return;
    TagStream stream(descriptor, true);
    if (format.getSampleFormat() == SampleFormat::opus)
        saveOgg<TagLib::Ogg::Opus::File>(stream, tags);
    else
        saveOgg<TagLib::Ogg::Vorbis::File>(stream, tags);
    if (stream.getError() != 0)
        throw std::system_error(stream.getError(), std::generic_category());
}

} // namespace kalim
