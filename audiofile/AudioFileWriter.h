#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/ChunkLayout.h"
#include "audiofile/OutputFile.h"
#include "audiofile/Quantiser.h"
#include "audiofile/Tags.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace kalim
{

/// Writes samples to an output file, which the caller commits after close(). Integer samples that
/// were read and not changed come out bit for bit.
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

    /// How good lossy formats are to be, 0 to 10; 8 otherwise. Before the first samples only.
    void setQuality(double quality);

    /// How many bits of each sample are to be used and called so, where the format has more; before
    /// the first samples only.
    void setValidBits(int bits);

    /// Appends whole frames; full scale is ±1. Throws FileError when the disk is full or fails.
    void write(std::span<const float> interleaved);
    void write(std::span<const double> interleaved);

    /// Completes the file, which then can be read and committed. Throws FileError when the disk is
    /// full or fails.
    void close();

    std::int64_t getNumFrames() const { return frames; }

    /// Samples beyond full scale that an integer format had to limit.
    std::int64_t getNumClippedSamples() const { return quantiser ? quantiser->getNumClipped() : 0; }

    /// The open file for setting descriptions, before the first samples; null once closed.
    SNDFILE* getHandle() const { return sound.get(); }

private:
    class Sink;

    template <typename Sample>
    void writePart(std::span<const Sample> interleaved);
    template <typename Sample>
    void writeAll(std::span<const Sample> interleaved);
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
    std::optional<Quantiser> quantiser; // for integer formats
    std::optional<int> validBits;
};

} // namespace kalim
