#pragma once

#include "audiofile/LibrarySource.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace kalim
{

/// Recordings of one kind that follow one another in a file, as if they were one.
class ChainedSource : public SampleSource
{
public:
    /// At least one range, each of which is a file of its own. Links whose channels or rate differ
    /// from those of the first end the recording, of which a note tells. Throws FileError when the
    /// first of them cannot be read.
    ChainedSource(std::filesystem::path path, std::vector<FileRange> ranges);

    SampleShape getShape() const override { return shape; }

    std::int64_t decode(std::span<float> interleaved, std::int64_t frames) override;

    std::string getError() const override { return error; }

    bool seek(std::int64_t frame) override;

    bool isSeekable() const override { return true; }

    void restart() override;

    std::vector<FileNote> getNotes() const override { return notes; }

    SNDFILE* getHandle() override { return first.getHandle(); }

private:
    void measure();
    bool openLink(std::size_t number);
    std::int64_t countFrames(LibrarySource& link);

    std::filesystem::path filePath;
    std::vector<FileRange> links;
    LibrarySource first; // keeps the descriptions
    SampleShape shape;
    std::vector<std::int64_t> starts; // of each link, and the end of the last
    std::unique_ptr<LibrarySource> current;
    std::size_t currentNumber = 0;
    std::int64_t position = 0;
    std::string error;
    std::vector<FileNote> notes;
};

} // namespace kalim
