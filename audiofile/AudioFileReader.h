#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/FileBytes.h"

#include <cstdint>
#include <filesystem>
#include <span>

namespace kalim
{

/// Reads the samples of an audio file, from the first frame on unless told otherwise. One thread
/// at a time.
class AudioFileReader
{
public:
    /// Throws FileError when the file is missing, no regular file, not readable or no audio file.
    explicit AudioFileReader(const std::filesystem::path& path);

    const std::filesystem::path& getPath() const { return filePath; }

    AudioFileFormat getFormat() const { return AudioFileFormat(info.format); }

    int getNumChannels() const { return info.channels; }

    /// In Hz, at least 1.
    int getSampleRate() const { return info.samplerate; }

    /// Length of the file; it was counted by decoding where the file does not tell it.
    std::int64_t getNumFrames() const { return info.frames; }

    /// What the file's own numbers are divided by, see fullScaleOf(); a power of two.
    double getFullScale() const { return fullScale; }

    /// The frame that is read next.
    std::int64_t getPosition() const { return nextFrame; }

    /// Makes a frame the one that is read next, limited to 0 to getNumFrames(). Codecs that cannot
    /// seek are decoded up to there, which takes time. Throws FileError when a damaged file cannot
    /// be decoded up to there, in which case getPosition() tells how far it can, unless only the
    /// next read() finds that out. It is possible to seek back from any error. Samples are then
    /// those of reading from the start, those of MP3 up to rounding.
    void seek(std::int64_t frame);

    /// Reads the next frames into room for whole frames of all channels, and returns how many:
    /// fewer than there is room for only at the end, then 0. Full scale is ±1, and floating-point
    /// files may exceed it. Throws FileError when the file ends before getNumFrames() or cannot be
    /// decoded; what could be decoded is there nevertheless, up to getPosition().
    std::int64_t read(std::span<float> interleaved);

    /// The open file for reading descriptions; valid until the next seek() or read().
    SNDFILE* getHandle() const { return sound.get(); }

    /// The descriptor of the open file; its position belongs to the decoder.
    int getDescriptor() const { return file.get(); }

private:
    void countFrames();
    void limitToAudio();
    void startAgain();
    void skipTo(std::int64_t frame);
    std::int64_t decode(std::span<float> interleaved, std::int64_t wanted);

    std::filesystem::path filePath;
    FileDescriptor file;
    SF_INFO info{};
    SoundFileHandle sound;
    std::int64_t nextFrame = 0;
    double fullScale = 1.0;

    /// Whether the decoder stands at the next frame, which it may have lost at damage.
    bool isInPlace = true;
};

} // namespace kalim
