#pragma once

#include "audiofile/SampleSource.h"

#include <filesystem>
#include <optional>

namespace kalim
{

/// Samples that the sound library decodes.
class LibrarySource : public SampleSource
{
public:
    /// A range that holds a whole file. Throws FileError when the library refuses it.
    LibrarySource(std::filesystem::path path, const FileRange& range);

    /// A range that holds nothing but samples of that format.
    LibrarySource(std::filesystem::path path, const FileRange& range, const SF_INFO& rawFormat);

    SampleShape getShape() const override;
    std::int64_t decode(std::span<float> interleaved, std::int64_t frames) override;
    std::string getError() const override;
    bool seek(std::int64_t frame) override;

    bool isSeekable() const override { return info.seekable != SF_FALSE; }

    void restart() override;

    SNDFILE* getHandle() override { return sound.get(); }

private:
    struct Input
    {
        FileRange range;
        std::int64_t position = 0;
        int error = 0;
    };

    static SF_VIRTUAL_IO functions();
    SoundFileHandle open(SF_INFO& opened);

    std::filesystem::path filePath;
    Input input;
    std::optional<SF_INFO> raw;
    SF_INFO info{};
    SoundFileHandle sound;
};

} // namespace kalim
