#include "audiofile/Mp3Frames.h"

#include "audiofile/FileBlocks.h"
#include "audiofile/FileBytes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kalim
{
namespace
{

constexpr std::int64_t headerBytes = 4;

/// Compressed pictures may look like as many frames, but hardly like more.
constexpr int longRun = 4;

struct FrameHeader
{
    std::int64_t bytes; // 0 where the rate is free and only the next frame tells
    int samples;
    int sampleRate;
    int channels;
    int version; // 0: 1, 1: 2, 2: 2.5
    int layer;   // 0: I, 1: II, 2: III
    std::int64_t padding;

    bool isLike(const FrameHeader& other) const
    {
        return sampleRate == other.sampleRate && version == other.version && layer == other.layer;
    }
};

/// In kbit/s, for MPEG-1 layers I to III and MPEG-2 layer I, and layers II and III.
constexpr std::array<std::array<int, 15>, 5> bitRates{{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

constexpr std::array<int, 3> rates{44100, 48000, 32000};

std::optional<FrameHeader> headerOf(std::span<const std::byte> bytes)
{
    if (std::ssize(bytes) < headerBytes)
        return {};
    const auto bits = bigEndian(bytes.first(headerBytes));
    const auto field = [bits](unsigned shift, unsigned mask)
    { return static_cast<std::size_t>(bits >> shift & mask); };
    const auto versionBits = field(19, 3);
    const auto layerBits = field(17, 3);
    const auto rate = field(12, 15);
    const auto frequency = field(10, 3);
    if (field(21, 0x7ff) != 0x7ff || versionBits == 1 || layerBits == 0 || rate == 15 ||
        frequency == 3)
        return {};
    FrameHeader header{};
    header.version = versionBits == 3 ? 0 : (versionBits == 2 ? 1 : 2);
    header.layer = 3 - static_cast<int>(layerBits);
    header.sampleRate = rates[frequency] >> header.version;
    header.channels = field(6, 3) == 3 ? 1 : 2;
    const bool isFirst = header.version == 0;
    const auto layer = static_cast<std::size_t>(header.layer);
    header.samples = layer == 0 ? 384 : (layer == 2 && !isFirst ? 576 : 1152);
    const auto table = isFirst ? layer : (layer == 0 ? 3U : 4U);
    const std::int64_t slotBytes = layer == 0 ? 4 : 1;
    const auto slots = static_cast<std::int64_t>(header.samples) * bitRates[table][rate] * 125 /
                       slotBytes / header.sampleRate;
    header.padding = static_cast<std::int64_t>(field(9, 1)) * slotBytes;
    header.bytes = rate == 0 ? 0 : slots * slotBytes + header.padding;
    return header;
}

/// Goes through the frames of a range.
class FrameWalk
{
public:
    explicit FrameWalk(const FileRange& range)
        : file(range)
    {
    }

    Mp3Survey finish()
    {
        while (offset < file.getLength())
            step();
        return survey;
    }

    /// Whether a run of frames begins so soon that it is no accident.
    bool findStart(std::int64_t farthest)
    {
        while (offset < file.getLength() && offset < farthest + skippedTags)
        {
            const auto before = survey.frames;
            step();
            run = survey.frames > before ? run + 1 : (isRunning ? run : 0);
            if (run == longRun)
                return true;
        }
        return run > 0 && survey.strayBytes == 0 && offset >= file.getLength();
    }

private:
    void step()
    {
        if (const auto tag = tagBytes())
        {
            offset += tag;
            skippedTags += tag;
        }
        else if (const auto header = frameHere())
            takeFrame(*header);
        else
        {
            survey.isStrayEmpty &= file.at(offset, 1).front() == std::byte{0};
            ++offset;
            ++survey.strayBytes;
            isRunning = false;
        }
    }

    /// The number of seven bits a byte that ends an ID3 header.
    static std::int64_t sevenBits(std::span<const std::byte> bytes)
    {
        std::int64_t number = 0;
        for (const auto byte : bytes)
            number = number << 7 | std::to_integer<std::int64_t>(byte & std::byte{0x7f});
        return number;
    }

    /// Bytes of the tag that starts here, 0 if there is none.
    std::int64_t tagBytes()
    {
        const auto bytes = file.at(offset, 32);
        const auto text = asText(bytes);
        const auto rest = file.getLength() - offset;
        if (text.starts_with("ID3") && bytes.size() >= 10 && bytes[3] != std::byte{0xff})
            return std::min(rest, 10 + sevenBits(bytes.subspan(6, 4)));
        if (text.starts_with("TAG") && rest == 128)
            return rest;
        if (text.starts_with("TAG+") && rest == 227 + 128)
            return 227;
        if (text.starts_with("APETAGEX") && bytes.size() == 32)
        {
            const auto size = static_cast<std::int64_t>(littleEndian(bytes.subspan(12, 4)));
            const bool isHeader = (bytes[23] & std::byte{0x20}) != std::byte{0};
            return std::min(rest, isHeader ? size + 32 : 32);
        }
        constexpr std::int64_t mostLyrics = 100000;
        if (text.starts_with("LYRICSBEGIN") && rest < mostLyrics)
            return std::max<std::int64_t>(rest - 128, 0);
        return 0;
    }

    /// The header of the frame that starts here. In a stream that runs already it is like the one
    /// before; elsewhere another frame must follow it.
    std::optional<FrameHeader> frameHere()
    {
        auto header = headerOf(file.at(offset, headerBytes));
        if (!header)
            return {};
        if (header->bytes == 0)
            header->bytes = freeLength(*header);
        if (header->bytes < headerBytes)
            return {};
        const bool isNext = isRunning && header->isLike(last);
        return isNext || isFollowed(*header) ? header : std::nullopt;
    }

    bool isFollowed(const FrameHeader& header)
    {
        const auto next = headerOf(file.at(offset + header.bytes, headerBytes));
        const auto rest = file.getLength() - offset - header.bytes;
        const bool isKnown = survey.frames > 0 && header.isLike(last);
        return (next && next->isLike(header)) || (isKnown && rest <= 0) ||
               (survey.frames > 0 && tagFollows(header.bytes)) || (rest == 0 && offset == 0);
    }

    bool tagFollows(std::int64_t bytes)
    {
        const auto text = asText(file.at(offset + bytes, 8));
        return text.starts_with("TAG") || text.starts_with("ID3") || text.starts_with("APETAGEX") ||
               text.starts_with("LYRICSBE");
    }

    /// Frames of a free rate are as long as all others of their stream.
    std::int64_t freeLength(const FrameHeader& header)
    {
        constexpr std::int64_t most = 8192;
        if (isRunning && freeBytes > 0)
            return freeBytes + header.padding;
        const auto bytes = file.at(offset, most);
        for (std::size_t i = headerBytes; i + headerBytes <= bytes.size(); ++i)
            if (bytes[i] == std::byte{0xff})
                if (const auto next = headerOf(bytes.subspan(i));
                    next && next->bytes == 0 && next->isLike(header))
                {
                    freeBytes = static_cast<std::int64_t>(i) - header.padding;
                    return freeBytes + header.padding;
                }
        return 0;
    }

    void takeFrame(const FrameHeader& header)
    {
        const bool isFirst = survey.frames == 0;
        if (isFirst)
            firstHeader = header;
        else if ((header.sampleRate != firstHeader.sampleRate ||
                  header.channels != firstHeader.channels) &&
                 !survey.changesAt)
            survey.changesAt = survey.samples;
        const auto rest = file.getLength() - offset;
        survey.missingBytes = std::max<std::int64_t>(header.bytes - rest, 0);
        readIndex(header);
        ++survey.frames;
        survey.samples += header.samples;
        isRunning = true;
        last = header;
        offset += std::min(header.bytes, rest);
    }

    /// The index stands where the sound of its frame would begin.
    void readIndex(const FrameHeader& header)
    {
        const auto frame = file.at(offset, std::min<std::int64_t>(header.bytes, 200));
        const auto text = asText(frame);
        const std::size_t side = header.version == 0 ? (header.channels == 1 ? 17 : 32)
                                                     : (header.channels == 1 ? 9 : 17);
        const auto mark = text.size() > side + 16 ? text.substr(side + 4, 4) : std::string_view();
        const bool isIndex =
            mark == "Xing" || mark == "Info" || (text.size() > 54 && text.substr(36, 4) == "VBRI");
        if (!isIndex)
            return;
        const bool isCounted =
            mark.empty() || mark[0] == 'V' || (frame[side + 11] & std::byte{1}) != std::byte{0};
        const auto at = mark == "Xing" || mark == "Info" ? side + 12 : std::size_t{50};
        if (survey.frames == 0 && isCounted)
            survey.statedFrames = static_cast<std::int64_t>(bigEndian(frame.subspan(at, 4)));
        ++survey.indexFrames;
    }

    FileBlocks file;
    Mp3Survey survey;
    std::int64_t offset = 0;
    std::int64_t skippedTags = 0;
    std::int64_t freeBytes = 0;
    FrameHeader firstHeader{};
    FrameHeader last{};
    bool isRunning = false;
    int run = 0;
};

} // namespace

Mp3Survey surveyMp3(const FileRange& range)
{
    return FrameWalk(range).finish();
}

bool isMp3(const FileRange& range, std::int64_t farthest)
{
    constexpr std::int64_t largestFrame = 8192;
    return FrameWalk(range).findStart(farthest + longRun * largestFrame);
}

} // namespace kalim
