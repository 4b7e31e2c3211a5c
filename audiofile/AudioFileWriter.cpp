#include "audiofile/AudioFileWriter.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "audiofile/TagFiles.h"
#include "base/FileError.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

/// The marker and the block that describes the stream, which is always the first.
constexpr std::int64_t behindFirstFlacBlock = 4 + 4 + 34;

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

/// Where recorders and players look first; not in AIFF and CAF, to which the library gives a header
/// of its own length.
bool belongsInFront(const AudioFileFormat& format, const RawChunk& chunk)
{
    // Common readers of W64 play everything behind the samples as further samples.
    if (format.getContainer() == SF_FORMAT_W64)
        return true;
    // The library misses the samples of RF64 behind a chunk of odd size.
    const bool isInTheWay = format.getContainer() == SF_FORMAT_RF64 && chunk.data.size() % 2 != 0;
    return format.isWav() && chunk.precedesAudio && !isInTheWay;
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

    /// Puts bytes between what the library writes before and behind an offset; once.
    void insert(std::int64_t offset, std::span<const std::byte> bytes)
    {
        insertion = offset;
        insertedBytes = std::ssize(bytes);
        writeAt(offset, bytes);
    }

    /// Number of the first error of the system, 0 when all went well.
    int getError() const { return firstError; }

private:
    static SF_VIRTUAL_IO functions()
    {
        SF_VIRTUAL_IO io{};
        io.get_filelen = [](void* user) -> sf_count_t { return sinkOf(user).getLength(); };
        io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t
        { return sinkOf(user).seek(offset, whence); };
        io.read = [](void* data, sf_count_t count, void* user) -> sf_count_t {
            return sinkOf(user).read(
                {static_cast<std::byte*>(data), static_cast<std::size_t>(count)});
        };
        io.write = [](const void* data, sf_count_t count, void* user) -> sf_count_t
        {
            sinkOf(user).write(
                {static_cast<const std::byte*>(data), static_cast<std::size_t>(count)});
            return count;
        };
        io.tell = [](void* user) -> sf_count_t { return sinkOf(user).position; };
        return io;
    }

    static Sink& sinkOf(void* user) { return *static_cast<Sink*>(user); }

    std::int64_t getLength() const { return fileSizeOf(descriptor) - insertedBytes; }

    std::int64_t seek(std::int64_t offset, int whence)
    {
        const auto base = whence == SEEK_SET ? 0 : (whence == SEEK_CUR ? position : getLength());
        position = base + offset;
        return position;
    }

    /// The bytes from the position on that lie in one piece in the file, and where.
    std::pair<std::int64_t, std::size_t> placeOf(std::size_t count) const
    {
        if (position >= insertion)
            return {position + insertedBytes, count};
        return {position,
                static_cast<std::size_t>(std::min(std::int64_t(count), insertion - position))};
    }

    std::int64_t read(std::span<std::byte> bytes)
    {
        const auto [offset, count] = placeOf(bytes.size());
        const auto got = readBytesAt(descriptor, offset, static_cast<std::int64_t>(count));
        std::ranges::copy(got, bytes.begin());
        position += std::ssize(got);
        return std::ssize(got);
    }

    void write(std::span<const std::byte> bytes)
    {
        while (!bytes.empty())
        {
            const auto [offset, count] = placeOf(bytes.size());
            writeAt(offset, bytes.first(count));
            position += static_cast<std::int64_t>(count);
            bytes = bytes.subspan(count);
        }
    }

    void writeAt(std::int64_t offset, std::span<const std::byte> bytes)
    {
        if (firstError != 0)
            return;
        try
        {
            writeBytesAt(descriptor, offset, bytes);
        }
        catch (const std::system_error& error)
        {
            firstError = error.code().value();
        }
    }

    std::int64_t position = 0;
    std::int64_t insertion = std::numeric_limits<std::int64_t>::max();
    std::int64_t insertedBytes = 0;
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

void AudioFileWriter::insert(std::int64_t offset, std::span<const std::byte> bytes)
{
    if (!bytes.empty())
        sink->insert(offset, bytes);
}

void AudioFileWriter::setTags(const Tags& newTags)
{
    tags = newTags;
    if (fileFormat.getContainer() == SF_FORMAT_MPEG)
        insert(0, id3Of(tags));
    if (fileFormat.getContainer() == SF_FORMAT_FLAC)
        insert(behindFirstFlacBlock, flacBlocksOf(tags));
}

void AudioFileWriter::setChunks(std::vector<RawChunk> chunks)
{
    const auto isBehind = [&](const RawChunk& chunk) { return !belongsInFront(fileFormat, chunk); };
    const auto behind = std::ranges::stable_partition(chunks, std::not_fn(isBehind));
    chunksBehind.assign(std::make_move_iterator(behind.begin()),
                        std::make_move_iterator(behind.end()));
    chunks.erase(behind.begin(), chunks.end());
    if (!chunks.empty())
        insertChunks(chunks);
}

void AudioFileWriter::insertChunks(const std::vector<RawChunk>& chunks)
{
    sf_command(sound.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
    const auto file = ChunkedFile::open(output.getDescriptor());
    const auto audio = file ? file->findAudio() : std::nullopt;
    if (!audio)
        throw FileError(output.getTarget(), sink->getError() != 0 ? sink->getError() : EIO);
    std::vector<std::byte> bytes;
    for (const auto& chunk : chunks)
        std::ranges::copy(file->getLayout().serialised(chunk.id, chunk.data),
                          std::back_inserter(bytes));
    insert(audio->start, bytes);
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
    if (fileFormat.getContainer() == SF_FORMAT_FLAC)
        finishFlacBlocks();
    if (fileFormat.getContainer() == SF_FORMAT_OGG)
        writeOggTags(output.getDescriptor(), fileFormat, tags);
    const auto file = ChunkedFile::open(output.getDescriptor());
    if (!file)
        return;
    file->stateTotalSize();
    if (!chunksBehind.empty())
        file->append(chunksBehind);
}

/// The encoder wrote tags of its own behind ours, without any, and there must be one block of them
/// only.
void AudioFileWriter::finishFlacBlocks() const
{
    const auto inserted = std::ssize(flacBlocksOf(tags));
    if (inserted == 0)
        return;
    constexpr auto lastComments = std::byte{0x84};
    constexpr auto lastPadding = std::byte{0x81};
    const auto offset = behindFirstFlacBlock + inserted;
    const auto header = readBytesAt(output.getDescriptor(), offset, 4);
    if (header.size() < 4 || header[0] != lastComments)
        throw FileError(output.getTarget(), "the encoder wrote unexpected blocks");
    std::vector<std::byte> padding(4 + bigEndian(std::span(header).subspan(1)));
    std::ranges::copy(header, padding.begin());
    padding[0] = lastPadding;
    writeBytesAt(output.getDescriptor(), offset, padding);
}

} // namespace kalim
