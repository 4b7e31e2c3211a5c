#pragma once

#include "audiofile/AudioFileFormat.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kalim::program
{

/// How samples are stored without any header.
struct RawSamples
{
    std::string_view name; ///< such as "s16le"
    SampleFormat format;   ///< what comes next to it in files
    int bytes;             ///< of one sample
    bool isBigEndian;

    /// Whether bytes count from -128, and not, as in WAV files, from 0.
    bool isSignedByte;

    bool isFloat() const
    {
        return format == SampleFormat::float32 || format == SampleFormat::float64;
    }
};

/// Whole recordings without a header.
struct RawFormat
{
    int sampleRate; ///< Hz
    int channels;
    RawSamples samples;

    int getBytesPerFrame() const { return channels * samples.bytes; }
};

/// Samples of that name. Throws std::invalid_argument with a line that lists the known ones.
RawSamples parseRawSamples(std::string_view name);

/// Reads "RATE:CHANNELS:FORMAT", such as "48000:2:s16le". Throws std::invalid_argument with a line
/// for the user.
RawFormat parseRawFormat(std::string_view text);

/// The raw form of samples as WAV files hold them, nothing where there is none.
std::optional<RawSamples> rawSamplesOf(SampleFormat format);

/// Turns whole raw samples into those of a WAV file, and back.
void exchangeWithWav(std::span<std::byte> bytes, const RawSamples& samples);

/// Bytes of the header that makes raw samples a WAV file.
inline constexpr std::size_t wavHeaderSize = 80;

/// The header for so many bytes of samples, that of RF64 where WAV cannot hold them.
std::array<std::byte, wavHeaderSize> makeWavHeader(const RawFormat& format, std::int64_t dataSize);

} // namespace kalim::program
