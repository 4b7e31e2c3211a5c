#include "audiofile/DescriptionChunks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
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

RawChunk inUsualByteOrder(const RawChunk& broadcastExtension)
{
    struct Number
    {
        std::ptrdiff_t offset;
        std::ptrdiff_t size;
    };

    // The time in two halves, the version, and five figures of loudness.
    constexpr std::array numbers{Number{338, 4}, Number{342, 4}, Number{346, 2}, Number{412, 2},
                                 Number{414, 2}, Number{416, 2}, Number{418, 2}, Number{420, 2}};
    constexpr std::size_t largeHalfOfVersion = 346;
    auto result = broadcastExtension;
    // Some programs write it in the usual order into files of the other; versions are small.
    const bool isBigEndian =
        result.data.size() >= historyStart && result.data[largeHalfOfVersion] == std::byte{0};
    if (isBigEndian)
        for (const auto& number : numbers)
            std::reverse(result.data.begin() + number.offset,
                         result.data.begin() + number.offset + number.size);
    return result;
}

} // namespace kalim
