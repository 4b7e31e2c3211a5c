#pragma once

#include "audiofile/SampleFormat.h"

#include <cstdint>
#include <string>

namespace kalim
{

/// Container, sample format and byte order of an audio file, as libsndfile numbers them.
class AudioFileFormat
{
public:
    AudioFileFormat() = default;

    /// @param libraryFormat major format, subtype and byte order, combined as in SF_INFO
    explicit AudioFileFormat(int libraryFormat);

    int libraryFormat() const { return value; }

    int container() const;
    int subtype() const;
    int byteOrder() const;
    SampleFormat sampleFormat() const;

    /// Whether it is one of the WAV kinds: plain, extensible or RF64.
    bool isWav() const;

    /// "WAV", "RF64", "FLAC", "Ogg" and so on.
    std::string containerName() const;

    /// "pcm24", "vorbis", "IMA ADPCM".
    std::string samplesName() const;

    /// "WAV pcm24", "Ogg vorbis", "WAV IMA ADPCM", "Opus"; for messages and reports.
    std::string description() const;

    /// Whether a file of this kind with that many channels at that rate in Hz can be written.
    bool canHold(int channels, int sampleRate) const;

    /// Uncompressed bytes of that many samples in all channels; an upper bound for codecs.
    std::int64_t bytesFor(std::int64_t samples) const;

    bool operator==(const AudioFileFormat&) const = default;

private:
    int value = 0;
};

} // namespace kalim
