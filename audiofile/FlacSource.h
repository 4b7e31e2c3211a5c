#pragma once

#include "audiofile/Digest.h"
#include "audiofile/LibrarySource.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace kalim
{

/// One recording of FLAC, whose samples are held against the checksum in its header when they have
/// been read from the first to the last for the first time.
class FlacSource : public LibrarySource
{
public:
    /// A range that holds a whole file, perhaps with an ID3 tag in front. Throws FileError when the
    /// library refuses it.
    FlacSource(const std::filesystem::path& path, const FileRange& range);

    std::int64_t decode(std::span<float> interleaved, std::int64_t frames) override;
    std::string getError() const override;
    bool seek(std::int64_t frame) override;
    void restart() override;
    std::vector<FileNote> getNotes() const override;

private:
    void add(std::span<const float> interleaved);

    SampleShape shape;
    int bits = 0;
    std::vector<std::byte> stated; // empty where none is stated, and once it was looked at
    std::optional<Digest> digest;  // of the samples from the first on, while they come in order
    std::vector<std::byte> bytes;
    std::int64_t numFrames = 0;
    bool isWrong = false;
    bool isFailing = false; // the last call of decode() found that out
};

/// Where FLAC's mark stands in a file that begins with it or with an ID3 tag and then it.
std::optional<std::int64_t> findFlacStart(const FileRange& range);

} // namespace kalim
