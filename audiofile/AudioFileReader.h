#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/FileBytes.h"
#include "audiofile/SampleSource.h"
#include "base/FileError.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// Samples of a file that can be opened could not be decoded.
class DamagedFileError : public FileError
{
public:
    using FileError::FileError;
};

/// What to do about samples that cannot be decoded.
enum class Damaged
{
    refuse,

    /// Silence stands for them, and the recording ends where nothing more can be decoded.
    salvage
};

/// Reads the samples of an audio file, from the first frame on unless told otherwise. One thread
/// at a time.
class AudioFileReader
{
public:
    /// Of a film, one stream of sound may be named. Throws FileError when the file is missing, no
    /// regular file, not readable or no audio file.
    explicit AudioFileReader(const std::filesystem::path& path, Damaged whatToDo = Damaged::refuse,
                             std::optional<int> stream = {});

    const std::filesystem::path& getPath() const { return filePath; }

    AudioFileFormat getFormat() const { return shape.format; }

    int getNumChannels() const { return shape.channels; }

    /// In Hz, at least 1.
    int getSampleRate() const { return shape.sampleRate; }

    /// Length of the file; it was counted by decoding where the file does not tell it.
    std::int64_t getNumFrames() const { return shape.frames; }

    /// When the first frame sounds, in seconds on the clock of a film; 0 for other files.
    double getStartTime() const { return source->getStartTime(); }

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
    /// decoded (DamagedFileError); what could be decoded is there nevertheless, up to
    /// getPosition().
    std::int64_t read(std::span<float> interleaved);

    /// What was found out while the file was opened, and while it was salvaged.
    std::vector<FileNote> getNotes() const;

    /// The open file for reading descriptions, null where the sound library cannot read it; valid
    /// until the next seek() or read().
    SNDFILE* getHandle() const { return source->getHandle(); }

    /// The descriptor of the open file; its position belongs to the decoder.
    int getDescriptor() const { return file.get(); }

private:
    void requirePlausible() const;
    void countFrames();
    void limitToAudio();
    void startAgain();
    void skipTo(std::int64_t frame);
    bool skipDamage();
    std::int64_t decode(std::span<float> interleaved, std::int64_t wanted);

    std::filesystem::path filePath;
    FileDescriptor file;
    std::unique_ptr<SampleSource> source;
    SampleShape shape;
    bool salvages;
    std::vector<FileNote> notes;
    std::string failure;
    std::int64_t nextFrame = 0;
    double fullScale = 1.0;

    // Where silence stands for samples that cannot be decoded.
    std::int64_t silentUntil = 0;
    std::int64_t silencedFrames = 0;
    std::int64_t countedUntil = 0;

    /// Whether the decoder stands at the next frame, which it may have lost at damage.
    bool isInPlace = true;
};

} // namespace kalim
