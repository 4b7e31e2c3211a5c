#include "audiofile/DescriptionChunks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

class ByteList
{
public:
    void add(std::span<const std::byte> added)
    {
        std::ranges::copy(added, std::back_inserter(bytes));
    }

    void addText(std::string_view text) { add(std::as_bytes(std::span(text))); }

    void addNumber(std::uint32_t number) { add(layout.bytes(number, sizeof number)); }

    ChunkLayout layout = riffLayout(false);
    std::vector<std::byte> bytes;
};

std::string_view nameOf(const SF_CUE_POINT& cue)
{
    return {static_cast<const char*>(cue.name), strnlen(cue.name, sizeof cue.name)};
}

RawChunk positions(const std::vector<SF_CUE_POINT>& cues)
{
    ByteList list;
    list.addNumber(static_cast<std::uint32_t>(cues.size()));
    for (const auto& cue : cues)
    {
        list.addNumber(static_cast<std::uint32_t>(cue.indx));
        list.addNumber(cue.sample_offset);
        list.addText("data");
        list.addNumber(0);
        list.addNumber(0);
        list.addNumber(cue.sample_offset);
    }
    return {"cue ", list.bytes, true};
}

RawChunk labels(const std::vector<SF_CUE_POINT>& cues)
{
    ByteList list;
    list.addText("adtl");
    for (const auto& cue : cues)
    {
        const auto name = nameOf(cue);
        if (name.empty())
            continue;
        ByteList label;
        label.addNumber(static_cast<std::uint32_t>(cue.indx));
        label.addText(name);
        label.bytes.push_back(std::byte{0});
        list.add(list.layout.serialised("labl", label.bytes));
    }
    return {"LIST", list.bytes, true};
}

/// The history follows the fields of fixed size.
constexpr std::size_t historyStart = 602;

std::string modeOf(int channels)
{
    if (channels == 1)
        return "mono";
    return channels == 2 ? "stereo" : "multi";
}

std::string codingOf(const AudioFileFormat& format)
{
    return format.getSubtype() == SF_FORMAT_MPEG_LAYER_III ? "MPEG1L3" : "PCM";
}

int wordLengthOf(const AudioFileFormat& format)
{
    return static_cast<int>(8 * format.bytesFor(1));
}

/// "A=PCM,F=48000,W=24,M=stereo,T=TEXT" without the line end.
std::string codingHistoryLine(const CodingStep& step)
{
    auto text = step.text;
    std::ranges::replace_if(
        text, [](char c) { return c == ',' || static_cast<unsigned char>(c) < 0x20; }, ';');
    return fmt::format("A={},F={},W={},M={},T={}", codingOf(step.format), step.sampleRate,
                       wordLengthOf(step.format), modeOf(step.channels), text);
}

} // namespace

std::vector<RawChunk> cueChunks(const std::vector<SF_CUE_POINT>& cues)
{
    std::vector<RawChunk> chunks;
    if (cues.empty())
        return chunks;
    chunks.push_back(positions(cues));
    constexpr std::size_t emptyList = 4;
    if (auto named = labels(cues); named.data.size() > emptyList)
        chunks.push_back(std::move(named));
    return chunks;
}

RawChunk withCodingStep(const RawChunk& broadcastExtension, const CodingStep& step)
{
    auto result = broadcastExtension;
    auto& data = result.data;
    if (data.size() < historyStart)
        return result;
    while (data.size() > historyStart && data.back() == std::byte{0})
        data.pop_back();

    const bool isOpen = data.size() > historyStart && data.back() != std::byte{'\n'};
    const auto added = (isOpen ? "\r\n" : "") + codingHistoryLine(step) + "\r\n";
    std::ranges::transform(added, std::back_inserter(data),
                           [](char c) { return static_cast<std::byte>(c); });
    if (data.size() % 2 != 0)
        data.push_back(std::byte{0});
    return result;
}

} // namespace kalim
