#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kalim
{

/// How single samples are stored, whatever the container.
enum class SampleFormat
{
    pcm8,
    pcm16,
    pcm24,
    pcm32,
    float32,
    float64,
    vorbis,
    opus,
    mp3,
    /// Everything else that can be read: mu-law, ADPCM, ALAC and so on.
    other
};

/// The word for it in an option or a message: "pcm24", "float", "double", "vorbis".
std::string nameOf(SampleFormat format);

/// The sample format of that name in any letter case, nothing if there is none.
std::optional<SampleFormat> sampleFormatOfName(std::string_view name);

/// All names that sampleFormatOfName() knows, separated by commas.
std::string knownSampleFormats();

/// The sample format of a libsndfile subtype.
SampleFormat sampleFormatOfSubtype(int subtype);

/// Subtypes of libsndfile that store it, the usual one first; empty for other.
std::vector<int> subtypesOf(SampleFormat format);

/// Formats to take instead of one that a container cannot hold, the least loss first. What a lossy
/// decoder delivers goes to 24 bits, because it is finer than 16 bits and no container that we
/// write holds it worse than that.
std::vector<SampleFormat> substitutesFor(SampleFormat format);

/// Bits of the integers that a libsndfile subtype stores or decodes to, 8 to 32; nothing for
/// subtypes that take floating-point samples (float, double, Vorbis, Opus, MP3).
std::optional<int> integerBitsOf(int subtype);

} // namespace kalim
