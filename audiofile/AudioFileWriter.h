#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/ChunkLayout.h"
#include "audiofile/OutputFile.h"
#include "audiofile/Tags.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kalim
{

/// Writes samples to an output file, which the caller commits after close(). Integer samples that
/// were read and not changed come out bit for bit (up to the 24 bits of a float).
class AudioFileWriter
{
public:
    /// The output must outlive the writer; the sample rate is in Hz. Throws FileError when the
    /// format does not take the channels or the rate.
    AudioFileWriter(OutputFile& output, const AudioFileFormat& format, int channels,
                    int sampleRate);
    ~AudioFileWriter();

    AudioFileWriter(const AudioFileWriter&) = delete;
    AudioFileWriter& operator=(const AudioFileWriter&) = delete;

    AudioFileFormat getFormat() const { return fileFormat; }

    int getNumChannels() const { return channelCount; }

    int getSampleRate() const { return rate; }

    /// Describing chunks to put into the file; before the first samples only.
    void setChunks(std::vector<RawChunk> chunks);

    /// What the file says of its music, where it is no list of chunks; before the first samples
    /// only.
    void setTags(const Tags& tags);

    /// Appends whole frames; full scale is ±1. Throws FileError when the disk is full or fails.
    void write(std::span<const float> interleaved);

    /// Completes the file, which then can be read and committed. Throws FileError when the disk is
    /// full or fails.
    void close();

    std::int64_t getNumFrames() const { return frames; }

    /// Samples beyond full scale that an integer format had to limit.
    std::int64_t getNumClippedSamples() const { return clipped; }

    /// The open file for setting descriptions, before the first samples; null once closed.
    SNDFILE* getHandle() const { return sound.get(); }

private:
    class Sink;

    void writeIntegers(std::span<const float> interleaved, int bits);
    void requireWritten(std::int64_t written, std::size_t wanted) const;
    void placeChunks();
    void insert(std::int64_t offset, std::span<const std::byte> bytes);
    void insertChunks(const std::vector<RawChunk>& chunks);
    void finishFlacBlocks() const;

    OutputFile& output;
    AudioFileFormat fileFormat;
    int channelCount;
    int rate;
    std::unique_ptr<Sink> sink;
    SoundFileHandle sound; // writes to the sink, even when it is destroyed
    std::vector<RawChunk> chunksBehind;
    Tags tags;
    std::vector<int> integers;
    std::int64_t frames = 0;
    std::int64_t clipped = 0;
};

} // namespace kalim
