#include "audiofile/AudioFileWriter.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "base/FileError.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

/// What fits into the header that the audio library builds in memory, with room for its own.
constexpr std::size_t largestFront = 48 * 1024;

/// Re-encoding should add nothing audible, whatever the library takes for a usual quality.
constexpr double encodingQuality = 0.8;

/// The library's tables for companded samples have no place for the lowest one: it flips over.
double lowestStep(double fullScale, const AudioFileFormat& format)
{
    const bool isCompanded =
        format.getSubtype() == SF_FORMAT_ULAW || format.getSubtype() == SF_FORMAT_ALAW;
    return isCompanded ? 1 - fullScale : -fullScale;
}

/// To the nearest integer, ties to even, below 2^51: adding this number leaves no bits behind the
/// point. The library function of the same meaning is a call for each sample.
double rounded(double value)
{
    constexpr double noFraction = 6755399441055744.0;
    return value + noFraction - noFraction;
}

struct QuantisedSample
{
    int leftAligned;
    bool isClipped;
};

/// Rounds samples to the steps of an integer format. The audio library takes integers left-aligned
/// in 32 bits and cuts them off without rounding.
class Quantiser
{
public:
    Quantiser(const AudioFileFormat& format, int bits)
        : fullScale(std::ldexp(1.0, bits - 1))
        , lowest(lowestStep(fullScale, format))
        , alignment(1 << (32 - bits))
    {
    }

    QuantisedSample quantise(float sample) const
    {
        const double scaled = std::isnan(sample) ? 0.0 : static_cast<double>(sample) * fullScale;
        const double step = rounded(std::clamp(scaled, -2 * fullScale, 2 * fullScale));
        const double limited = std::clamp(step, lowest, fullScale - 1);
        // Exactly +1 is the peak of every normalised file and loses one step only: no clipping.
        const bool isClipped = std::abs(scaled) > fullScale && step != limited;
        return {static_cast<int>(limited) * alignment, isClipped};
    }

private:
    double fullScale;
    double lowest;
    int alignment;
};

} // namespace

/// Lets the audio library write to an open file, and remembers the first failure: an encoder that
/// writes its last samples while it is closed tells nobody that the disk was full. To the library
/// every write succeeds, for encoders that see a failure forget to give back their memory; what
/// follows a failure goes nowhere.
class AudioFileWriter::Sink
{
public:
    /// The descriptor is open for reading and writing, and not owned.
    explicit Sink(int fileDescriptor)
        : descriptor(fileDescriptor)
    {
    }

    SoundFileHandle open(const AudioFileFormat& format, int channels, int sampleRate)
    {
        SF_INFO info{};
        info.channels = channels;
        info.samplerate = sampleRate;
        info.format = format.getLibraryFormat();
        auto io = functions();
        return SoundFileHandle(sf_open_virtual(&io, SFM_WRITE, &info, this));
    }

    /// Number of the first error of the system, 0 when all went well.
    int getError() const { return firstError; }

private:
    static SF_VIRTUAL_IO functions()
    {
        SF_VIRTUAL_IO io{};
        io.get_filelen = [](void* user) -> sf_count_t { return fileSizeOf(fileOf(user)); };
        io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t
        { return lseek(fileOf(user), offset, whence); };
        io.read = [](void* data, sf_count_t count, void* user) -> sf_count_t
        { return ::read(fileOf(user), data, static_cast<std::size_t>(count)); };
        io.write = [](const void* data, sf_count_t count, void* user) -> sf_count_t
        {
            static_cast<Sink*>(user)->write(
                {static_cast<const std::byte*>(data), static_cast<std::size_t>(count)});
            return count;
        };
        io.tell = [](void* user) -> sf_count_t { return lseek(fileOf(user), 0, SEEK_CUR); };
        return io;
    }

    static int fileOf(void* user) { return static_cast<Sink*>(user)->descriptor; }

    void write(std::span<const std::byte> bytes)
    {
        if (firstError == 0)
            firstError = writeBytes(descriptor, bytes);
    }

    int descriptor;
    int firstError = 0;
};

AudioFileWriter::AudioFileWriter(OutputFile& outputFile, const AudioFileFormat& format,
                                 int channels, int sampleRate)
    : output(outputFile)
    , fileFormat(format)
    , channelCount(channels)
    , rate(sampleRate)
    , sink(std::make_unique<Sink>(outputFile.getDescriptor()))
    , sound(sink->open(format, channels, sampleRate))
{
    if (!sound)
        throw FileError(output.getTarget(), "cannot be written as " + format.getDescription() +
                                                ": " + sf_strerror(nullptr));
    // A peak chunk holds the time of writing, so that two runs would give different files.
    sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    auto quality = encodingQuality;
    sf_command(sound.get(), SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
}

AudioFileWriter::~AudioFileWriter() = default;

void AudioFileWriter::setChunks(std::vector<RawChunk> chunks)
{
    std::size_t used = 0;
    for (auto& chunk : chunks)
    {
        const bool fits = used + chunk.data.size() + 16 <= largestFront;
        // Many readers, the sound library's among them, do not expect padding in RF64.
        const bool needsPadding =
            fileFormat.getContainer() == SF_FORMAT_RF64 && chunk.data.size() % 2 != 0;
        const bool isInFront = fileFormat.isWav() && chunk.precedesAudio && fits && !needsPadding;
        used += isInFront ? chunk.data.size() + 16 : 0;
        (isInFront ? chunksInFront : chunksBehind).push_back(std::move(chunk));
    }
    reserveChunks();
}

void AudioFileWriter::reserveChunks()
{
    if (chunksInFront.empty())
        return;
    const auto layout = riffLayout(fileFormat.getByteOrder() == SF_ENDIAN_BIG);
    std::vector<char> filler(ChunkedFile::fillerSize(layout, chunksInFront));
    SF_CHUNK_INFO info{};
    std::strcpy(info.id, ChunkedFile::fillerId);
    info.id_size = 4;
    info.datalen = static_cast<unsigned>(filler.size());
    info.data = filler.data();
    sf_set_chunk(sound.get(), &info);
}

void AudioFileWriter::writeIntegers(std::span<const float> interleaved, int bits)
{
    const Quantiser quantiser(fileFormat, bits);
    integers.resize(interleaved.size());
    for (std::size_t n = 0; n < interleaved.size(); ++n)
    {
        const QuantisedSample sample = quantiser.quantise(interleaved[n]);
        integers[n] = sample.leftAligned;
        clipped += sample.isClipped ? 1 : 0;
    }
    const auto count = static_cast<sf_count_t>(integers.size());
    requireWritten(sf_write_int(sound.get(), integers.data(), count), interleaved.size());
}

void AudioFileWriter::write(std::span<const float> interleaved)
{
    constexpr std::size_t samplesAtOnce = 65536;
    const auto channelsAsSize = static_cast<std::size_t>(channelCount);
    const auto largest = std::max(samplesAtOnce / channelsAsSize, std::size_t{1}) * channelsAsSize;
    const auto bits = integerBitsOf(fileFormat.getSubtype());
    while (!interleaved.empty())
    {
        const auto part = interleaved.first(std::min(largest, interleaved.size()));
        if (bits)
            writeIntegers(part, *bits);
        else
            requireWritten(
                sf_write_float(sound.get(), part.data(), static_cast<sf_count_t>(part.size())),
                part.size());
        frames += static_cast<std::int64_t>(part.size() / channelsAsSize);
        interleaved = interleaved.subspan(part.size());
    }
}

void AudioFileWriter::requireWritten(std::int64_t written, std::size_t wanted) const
{
    if (sink->getError() != 0)
        throw FileError(output.getTarget(), sink->getError());
    if (written != static_cast<std::int64_t>(wanted))
        throw FileError(output.getTarget(),
                        std::string("cannot be written: ") + sf_strerror(sound.get()));
}

void AudioFileWriter::close()
{
    const int failure = sf_close(sound.release());
    if (sink->getError() != 0)
        throw FileError(output.getTarget(), sink->getError());
    if (failure != SF_ERR_NO_ERROR)
        throw FileError(output.getTarget(),
                        std::string("cannot be completed: ") + sf_error_number(failure));
    try
    {
        placeChunks();
    }
    catch (const std::system_error& error)
    {
        throw FileError(output.getTarget(), error.code().value());
    }
}

void AudioFileWriter::placeChunks()
{
    const auto file = ChunkedFile::open(output.getDescriptor());
    if (!file)
        return;
    auto behind = chunksBehind;
    if (!chunksInFront.empty() && !file->fill(chunksInFront))
        behind.insert(behind.begin(), chunksInFront.begin(), chunksInFront.end());
    if (!behind.empty())
        file->append(behind);
}

} // namespace kalim
