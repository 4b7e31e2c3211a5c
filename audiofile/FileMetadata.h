#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/AudioFileWriter.h"
#include "audiofile/ChunkLayout.h"

#include <sndfile.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kalim
{

/// Everything that an audio file says about its samples. Between files of one kind the describing
/// chunks go over byte for byte; between kinds, what both can express does.
class FileMetadata
{
public:
    explicit FileMetadata(const AudioFileReader& reader);

    /// Sets it in a file to write, before its first samples. The note goes into the history of a
    /// broadcast extension: program, version, what it did.
    void applyTo(AudioFileWriter& writer, const std::string& note) const;

    /// What did not get into a written file, one line each; looks into the file, because libraries
    /// accept much that they then leave out. To be called after AudioFileWriter::close(), with the
    /// temporary file for example. Throws FileError when the file cannot be read back.
    std::vector<std::string> lossesIn(const std::filesystem::path& written) const;

private:
    bool sharesChunksWith(std::optional<ChunkFamily> other) const;
    void applyTranslated(AudioFileWriter& writer) const;
    void applyChannelMap(SNDFILE* sound) const;
    void listChunkLosses(const FileMetadata& written, std::vector<std::string>& items) const;
    void listTranslationLosses(const FileMetadata& written, std::vector<std::string>& items) const;
    bool saysOfChannels(const FileMetadata& written) const;

    std::optional<ChunkFamily> family;
    std::vector<RawChunk> chunks;
    std::vector<std::string> uncarried;
    std::map<int, std::string> strings;
    std::vector<SF_CUE_POINT> cues;
    std::optional<SF_INSTRUMENT> instrument;
    std::vector<int> channelMap;
    bool isAmbisonic = false;
    std::string container;
};

} // namespace kalim
