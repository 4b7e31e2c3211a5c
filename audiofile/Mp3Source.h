#pragma once

#include "audiofile/Mp3Frames.h"
#include "audiofile/SampleSource.h"

#include <filesystem>
#include <memory>

namespace kalim
{

/// Samples of an MPEG audio stream of any layer. All its frames are looked at first, so that no
/// index is needed and what lies between them or follows them hides no sound.
class Mp3Source : public SampleSource
{
public:
    /// Throws FileError when the decoder finds no stream.
    Mp3Source(std::filesystem::path path, const FileRange& range);
    ~Mp3Source() override;

    SampleShape getShape() const override { return shape; }

    std::int64_t decode(std::span<float> interleaved, std::int64_t frames) override;

    std::string getError() const override { return error; }

    bool seek(std::int64_t frame) override;

    bool isSeekable() const override { return true; }

    void restart() override;

    std::vector<FileNote> getNotes() const override { return notes; }

    SNDFILE* getHandle() override;

private:
    class Decoder;

    void countFrames();
    void compareWithFrames();

    std::filesystem::path filePath;
    FileRange range;
    std::unique_ptr<Decoder> decoder;
    SampleShape shape;
    std::string error;
    std::vector<FileNote> notes;
    std::unique_ptr<SampleSource> described;
};

} // namespace kalim
