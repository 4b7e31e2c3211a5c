#include "kalim/streams/RawFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <vector>

namespace kalim::program
{
namespace
{

using enum SampleFormat;

constexpr std::array known{
    RawSamples{"u8", pcm8, 1, false, false},       RawSamples{"s8", pcm8, 1, false, true},
    RawSamples{"s16le", pcm16, 2, false, false},   RawSamples{"s16be", pcm16, 2, true, false},
    RawSamples{"s24le", pcm24, 3, false, false},   RawSamples{"s24be", pcm24, 3, true, false},
    RawSamples{"s32le", pcm32, 4, false, false},   RawSamples{"s32be", pcm32, 4, true, false},
    RawSamples{"f32le", float32, 4, false, false}, RawSamples{"f32be", float32, 4, true, false},
    RawSamples{"f64le", float64, 8, false, false}, RawSamples{"f64be", float64, 8, true, false},
};

constexpr int highestRate = 10000000; // Hz
constexpr int mostChannels = 1024;

int parseNumber(std::string_view text, int most, const char* what)
{
    int value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || value < 1 || value > most)
        throw std::invalid_argument(fmt::format("'{}' is no {} from 1 to {}", text, what, most));
    return value;
}

/// Puts numbers behind each other, the least significant byte first.
class HeaderWriter
{
public:
    void addText(std::string_view text)
    {
        for (const char character : text)
            header[at++] = static_cast<std::byte>(character);
    }

    void addNumber(std::uint64_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            header[at++] = static_cast<std::byte>(value >> (8 * i));
    }

    std::array<std::byte, wavHeaderSize> header{};

private:
    std::size_t at = 0;
};

} // namespace

RawSamples parseRawSamples(std::string_view name)
{
    const auto* const found = std::ranges::find(known, name, &RawSamples::name);
    if (found != known.end())
        return *found;
    std::vector<std::string_view> names;
    for (const RawSamples& samples : known)
        names.push_back(samples.name);
    throw std::invalid_argument(
        fmt::format("unknown raw samples '{}' (known: {})", name, fmt::join(names, ", ")));
}

RawFormat parseRawFormat(std::string_view text)
{
    const std::size_t first = text.find(':');
    const std::size_t second = text.find(':', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos)
        throw std::invalid_argument(
            fmt::format("'{}' is not RATE:CHANNELS:FORMAT such as 48000:2:s16le", text));
    return {
        parseNumber(text.substr(0, first), highestRate, "sample rate"),
        parseNumber(text.substr(first + 1, second - first - 1), mostChannels, "number of channels"),
        parseRawSamples(text.substr(second + 1))};
}

std::optional<RawSamples> rawSamplesOf(SampleFormat format)
{
    const auto* const found = std::ranges::find(known, format, &RawSamples::format);
    return found == known.end() ? std::nullopt : std::optional(*found);
}

void exchangeWithWav(std::span<std::byte> bytes, const RawSamples& samples)
{
    const auto size = static_cast<std::size_t>(samples.bytes);
    if (samples.isBigEndian)
        for (std::size_t start = 0; start + size <= bytes.size(); start += size)
            std::ranges::reverse(bytes.subspan(start, size));
    if (samples.isSignedByte)
        for (std::byte& byte : bytes)
            byte ^= std::byte{0x80};
}

std::array<std::byte, wavHeaderSize> makeWavHeader(const RawFormat& format, std::int64_t dataSize)
{
    constexpr std::uint64_t largestSmall = 0xffffffff - wavHeaderSize;
    constexpr std::uint64_t isElsewhere = 0xffffffff;
    constexpr int pcm = 1;
    constexpr int floatingPoint = 3;
    constexpr int reservedSize = 28;
    constexpr int formatSize = 16;
    const auto size = static_cast<std::uint64_t>(dataSize);
    const std::uint64_t fileSize = size + wavHeaderSize - 8;
    const bool isSmall = size <= largestSmall;
    const auto frameSize = static_cast<std::uint64_t>(format.getBytesPerFrame());
    const auto rate = static_cast<std::uint64_t>(format.sampleRate);
    HeaderWriter writer;
    writer.addText(isSmall ? "RIFF" : "RF64");
    writer.addNumber(isSmall ? fileSize : isElsewhere, 4);
    writer.addText("WAVE");
    writer.addText(isSmall ? "JUNK" : "ds64");
    writer.addNumber(reservedSize, 4);
    writer.addNumber(isSmall ? 0 : fileSize, 8);
    writer.addNumber(isSmall ? 0 : size, 8);
    writer.addNumber(isSmall ? 0 : size / frameSize, 8);
    writer.addNumber(0, 4);
    writer.addText("fmt ");
    writer.addNumber(formatSize, 4);
    writer.addNumber(format.samples.isFloat() ? floatingPoint : pcm, 2);
    writer.addNumber(static_cast<std::uint64_t>(format.channels), 2);
    writer.addNumber(rate, 4);
    writer.addNumber(rate * frameSize, 4);
    writer.addNumber(frameSize, 2);
    writer.addNumber(static_cast<std::uint64_t>(8 * format.samples.bytes), 2);
    writer.addText("data");
    writer.addNumber(isSmall ? size : isElsewhere, 4);
    return writer.header;
}

} // namespace kalim::program
