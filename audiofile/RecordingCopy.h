#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/AudioFileWriter.h"
#include "audiofile/FileMetadata.h"
#include "audiofile/OutputFile.h"
#include "audiofile/OutputFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// What a person wants of a copy.
struct CopySettings
{
    FormatRequest format;

    /// 0 to 10, of lossy formats.
    std::optional<double> quality;
    Existing existing = Existing::keep;

    /// Whether what is written is what was taken out of the samples.
    bool isResidual = false;

    /// What made the copy, for the history of a broadcast extension.
    std::string note;

    /// The same as a sentence, a comment where the format has tags and is no list of chunks; none
    /// if empty.
    std::string comment;
};

/// A file with the samples of another one, changed, and with everything that came with them. It
/// appears under its name with commit() only.
class RecordingCopy
{
public:
    /// The reader must outlive the copy; nothing is read from it. Throws FileError when the output
    /// cannot be written or cannot hold the recording.
    RecordingCopy(const AudioFileReader& reader, const std::filesystem::path& output,
                  const CopySettings& settings);

    /// The same in a format that was chosen before; that of the settings is not looked at.
    RecordingCopy(const AudioFileReader& reader, const std::filesystem::path& output,
                  const CopySettings& settings, OutputFormat chosen);
    ~RecordingCopy();

    AudioFileFormat getFormat() const { return target.format; }

    const std::filesystem::path& getTemporaryPath() const { return file.getTemporaryPath(); }

    std::int64_t getNumFrames() const { return writer.getNumFrames(); }

    std::int64_t getNumClippedSamples() const { return writer.getNumClippedSamples(); }

    /// Appends frames, which belong to those of the input in their order. Where the format holds
    /// more than the samples of the reader, what was taken out is taken from the file's own
    /// numbers, so that untouched samples stay as they are. Throws FileError when the disk fails.
    void write(std::span<const float> interleaved);

    /// Completes the file, still under a hidden name. Throws FileError when the disk is full or
    /// fails.
    void close();

    /// What should be told after close(), one line each: another format than asked for, and what
    /// did not get into the file. Reads the file back and throws FileError when that fails.
    std::vector<std::string> findWarnings() const;

    /// Puts the content safely on the disk, see OutputFile::finish().
    void finish() { file.finish(); }

    /// Gives the file its name, see OutputFile::commit().
    void commit() { file.commit(); }

private:
    class ExactSamples;

    bool deservesExactSamples() const;
    void writeScaled(std::span<const float> interleaved);

    const AudioFileReader& reader;
    std::filesystem::path outputPath;
    FileMetadata metadata;
    OutputFormat target;
    OutputFile file;
    AudioFileWriter writer;
    double scale;
    std::unique_ptr<ExactSamples> exact;
    std::vector<double> wide;
};

} // namespace kalim
