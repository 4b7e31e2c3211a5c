#pragma once

#include "audiofile/AudioFileFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// Bytes of an open file, which is not owned.
struct FileRange
{
    int descriptor;
    std::int64_t start;
    std::int64_t length;
};

/// What a source of samples knows of them.
struct SampleShape
{
    AudioFileFormat format;
    int channels = 0;

    /// In Hz.
    int sampleRate = 0;

    /// Negative where only decoding tells.
    std::int64_t frames = -1;
};

/// What a reader should know of a file beside its samples.
struct FileNote
{
    /// One line without the name of the file.
    std::string text;

    /// Whether sound of the file is not among its samples.
    bool isLoss = false;
};

/// Decodes the samples of an open file, from the first on. One thread at a time.
class SampleSource
{
public:
    SampleSource() = default;
    virtual ~SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;

    virtual SampleShape getShape() const = 0;

    /// Decodes up to so many frames into room for them and returns how many: 0 at the end and at
    /// damage, fewer than wanted at any time.
    virtual std::int64_t decode(std::span<float> interleaved, std::int64_t frames) = 0;

    /// Why the last call of decode() gave less than was wanted; empty where the file simply ended.
    virtual std::string getError() const = 0;

    /// Makes a frame the next one; false where that is not possible, and the place is lost.
    virtual bool seek(std::int64_t frame) = 0;

    /// Whether seek() is worth a try.
    virtual bool isSeekable() const = 0;

    /// Goes back to the first frame in any state. Throws FileError when the file has changed.
    virtual void restart() = 0;

    /// When the first sample sounds, in seconds on the clock of a film; after its decoding.
    virtual double getStartTime() const { return 0.0; }

    /// What was found out so far.
    virtual std::vector<FileNote> getNotes() const { return {}; }

    /// The file as the sound library sees it, for descriptions; null where it cannot read it.
    virtual SNDFILE* getHandle() { return nullptr; }
};

/// The source of an open file's samples; of a film, that of one stream, if one is named. The name
/// serves for messages. Throws FileError when no decoder takes the file.
std::unique_ptr<SampleSource> openSampleSource(const std::filesystem::path& path, int descriptor,
                                               std::optional<int> stream = {});

} // namespace kalim
