#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/AudioFileWriter.h"
#include "audiofile/ChunkLayout.h"
#include "audiofile/Markers.h"
#include "audiofile/Tags.h"

#include <sndfile.h>

#include <filesystem>
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
    /// broadcast extension: program, version, what it did; the comment, unless it is empty, to
    /// those of formats that are no list of chunks.
    void applyTo(AudioFileWriter& writer, const std::string& note,
                 const std::string& comment) const;

    /// What did not get into a written file, one line each; looks into the file, because libraries
    /// accept much that they then leave out. To be called after AudioFileWriter::close(), with the
    /// temporary file for example. Throws FileError when the file cannot be read back.
    std::vector<std::string> lossesIn(const std::filesystem::path& written) const;

private:
    bool sharesChunksWith(const std::optional<ChunkLayout>& other) const;
    std::vector<RawChunk> chunksFor(const ChunkLayout& target) const;
    std::vector<RawChunk> translatedChunks(const ChunkLayout& target) const;
    Tags tagsFor(const AudioFileFormat& format) const;
    void applyChannelMap(SNDFILE* sound) const;
    bool isTranslated(const RawChunk& chunk) const;
    void listChunkLosses(const FileMetadata& written, std::vector<std::string>& items) const;
    void listMarkerLosses(const FileMetadata& written, std::vector<std::string>& items) const;
    bool saysOfChannels(const FileMetadata& written) const;

    AudioFileFormat format;
    int sampleRate;
    std::optional<ChunkLayout> layout;
    std::vector<RawChunk> chunks;
    Tags tags;
    std::vector<Marker> markers;
    std::optional<SF_INSTRUMENT> instrument;
    std::vector<int> channelMap;
    bool isAmbisonic = false;
};

} // namespace kalim
