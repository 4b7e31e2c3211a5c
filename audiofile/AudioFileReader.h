#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/FileDescriptor.h"
#include "audiofile/SoundFileHandle.h"

#include <cstdint>
#include <filesystem>
#include <span>

namespace kalim
{

/// Reads the samples of an audio file from the first frame to the last.
class AudioFileReader
{
public:
    /// @throws FileError when it is missing, no regular file, not readable or no audio file
    explicit AudioFileReader(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return filePath; }

    AudioFileFormat format() const { return AudioFileFormat(info.format); }

    int channels() const { return info.channels; }

    /// In Hz, at least 1.
    int sampleRate() const { return info.samplerate; }

    /// Length of the file; it was counted by decoding where the file does not tell it.
    std::int64_t frames() const { return info.frames; }

    /// Reads the next frames; full scale is ±1, and floating-point files may exceed it.
    /// @param interleaved room for whole frames of all channels
    /// @returns the frames read, fewer than there is room for only at the end, then 0
    /// @throws FileError when the file ends before frames() or cannot be decoded
    std::int64_t read(std::span<float> interleaved);

    /// The open file for reading descriptions; valid as long as the reader.
    SNDFILE* handle() const { return sound.get(); }

    /// The descriptor of the open file; its position belongs to the decoder.
    int descriptor() const { return file.get(); }

private:
    void countFrames();
    void limitToAudio();

    std::filesystem::path filePath;
    FileDescriptor file;
    SF_INFO info{};
    SoundFileHandle sound;
    std::int64_t position = 0;
};

} // namespace kalim
