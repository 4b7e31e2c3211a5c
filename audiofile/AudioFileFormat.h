#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
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

/// Container, sample format and byte order of an audio file, as libsndfile numbers them.
class AudioFileFormat
{
public:
    AudioFileFormat() = default;

    /// From major format, subtype and byte order, combined as in SF_INFO.
    explicit AudioFileFormat(int libraryFormat);

    /// Of a container that the sound library does not know, with the names of container and coding
    /// and what of the library's subtypes comes next to it.
    AudioFileFormat(int nearestSubtype, std::string container, std::string coding);

    int getLibraryFormat() const { return value; }

    int getContainer() const;
    int getSubtype() const;
    int getByteOrder() const;
    SampleFormat getSampleFormat() const;

    /// Whether it is one of the WAV kinds: plain, extensible or RF64.
    bool isWav() const;

    /// Whether encoding is a matter of quality: Vorbis, Opus and MP3.
    bool isLossy() const;

    /// "WAV", "RF64", "FLAC", "Ogg" and so on.
    std::string getContainerName() const;

    /// "pcm24", "vorbis", "IMA ADPCM".
    std::string getSamplesName() const;

    /// "WAV pcm24", "Ogg vorbis", "WAV IMA ADPCM", "Opus"; for messages and reports.
    std::string getDescription() const;

    /// Whether a file of this kind with that many channels at that rate in Hz can be written.
    bool canHold(int channels, int sampleRate) const;

    /// Uncompressed bytes of that many samples in all channels; an upper bound for codecs.
    std::int64_t bytesFor(std::int64_t samples) const;

    bool operator==(const AudioFileFormat&) const = default;

private:
    int value = 0;

    // Empty where the library has names.
    std::string containerName;
    std::string samplesName;
};

/// Closes a file of the audio file library; any error of that must be asked for beforehand.
struct SoundFileCloser
{
    void operator()(SNDFILE* file) const { sf_close(file); }
};

/// Owner of an open file of the audio file library.
using SoundFileHandle = std::unique_ptr<SNDFILE, SoundFileCloser>;

} // namespace kalim
