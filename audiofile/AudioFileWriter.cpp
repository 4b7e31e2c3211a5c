#include "audiofile/AudioFileWriter.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "audiofile/TagFiles.h"
#include "audiofile/ValidBits.h"
#include "base/FileError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

namespace kalim
{
namespace
{

/// The marker and the block that describes the stream, which is always the first.
constexpr std::int64_t behindFirstFlacBlock = 4 + 4 + 34;

/// Re-encoding should add nothing audible, whatever the library takes for a usual quality.
constexpr double usualQuality = 8;

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
    if (const auto bits = integerBitsOf(format.getSubtype()))
        quantiser.emplace(format, *bits);
    if (!sound)
        throw FileError(output.getTarget(), "cannot be written as " + format.getDescription() +
                                                ": " + sf_strerror(nullptr));
    // A peak chunk holds the time of writing, so that two runs would give different files.
    sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    setQuality(usualQuality);
}

AudioFileWriter::~AudioFileWriter() = default;

void AudioFileWriter::setQuality(double quality)
{
    constexpr double most = 10;
    auto share = quality / most;
    sf_command(sound.get(), SFC_SET_VBR_ENCODING_QUALITY, &share, sizeof share);
}

void AudioFileWriter::setValidBits(int bits)
{
    if (!quantiser || bits >= *integerBitsOf(fileFormat.getSubtype()))
        return;
    validBits = bits;
    quantiser.emplace(fileFormat, bits);
}

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
    const auto behind = std::stable_partition(chunks.begin(), chunks.end(), std::not_fn(isBehind));
    chunksBehind.assign(std::make_move_iterator(behind), std::make_move_iterator(chunks.end()));
    chunks.erase(behind, chunks.end());
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

template <typename Sample>
void AudioFileWriter::writePart(std::span<const Sample> interleaved)
{
    const auto count = static_cast<sf_count_t>(interleaved.size());
    if (quantiser)
    {
        integers.resize(interleaved.size());
        std::ranges::transform(interleaved, integers.begin(),
                               [this](Sample sample)
                               { return quantiser->quantise(static_cast<double>(sample)); });
        requireWritten(sf_write_int(sound.get(), integers.data(), count), interleaved.size());
    }
    else if constexpr (std::is_same_v<Sample, double>)
        requireWritten(sf_write_double(sound.get(), interleaved.data(), count), interleaved.size());
    else
        requireWritten(sf_write_float(sound.get(), interleaved.data(), count), interleaved.size());
}

template <typename Sample>
void AudioFileWriter::writeAll(std::span<const Sample> interleaved)
{
    constexpr std::size_t samplesAtOnce = 65536;
    const auto channelsAsSize = static_cast<std::size_t>(channelCount);
    const auto largest = std::max(samplesAtOnce / channelsAsSize, std::size_t{1}) * channelsAsSize;
    while (!interleaved.empty())
    {
        const auto part = interleaved.first(std::min(largest, interleaved.size()));
        writePart(part);
        frames += static_cast<std::int64_t>(part.size() / channelsAsSize);
        interleaved = interleaved.subspan(part.size());
    }
}

void AudioFileWriter::write(std::span<const float> interleaved)
{
    writeAll(interleaved);
}

void AudioFileWriter::write(std::span<const double> interleaved)
{
    writeAll(interleaved);
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
    if (validBits)
        stateValidBits(output.getDescriptor(), *validBits);
    if (!chunksBehind.empty())
        file->append(chunksBehind);
}

/// The encoder wrote tags of its own behind ours, without any, and there must be one block of them
/// only.
void AudioFileWriter::finishFlacBlocks() const
{
    const auto inserted = std::ssize(flacBlocksOf(tags));
    // An empty recording is no file of FLAC, of which whoever reads it back will tell.
    if (inserted == 0 || frames == 0)
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
