#include "audiofile/AudioFileReader.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FullScale.h"
#include "base/FileError.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace kalim
{
namespace
{

/// Looks before opening: the mere opening of a pipe waits, that of a device may act.
void requireRegularFile(const std::filesystem::path& path)
{
    if (path.empty())
        throw FileError(path, "the input has no name");

    struct stat status
    {
    };

    if (stat(path.c_str(), &status) != 0)
        throw FileError(path, errno);
    if (S_ISDIR(status.st_mode))
        throw FileError(path, "is a folder, not an audio file");
    if (!S_ISREG(status.st_mode))
        throw FileError(path, "is not a regular file");
    if (status.st_size == 0)
        throw FileError(path, "is empty");
}

FileDescriptor openForReading(const std::filesystem::path& path)
{
    requireRegularFile(path);
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen())
        throw FileError(path, errno);
    return file;
}

std::string libraryMessage(SNDFILE* sound)
{
    std::string message = sf_strerror(sound);
    while (!message.empty() && (message.back() == '.' || message.back() == '\n'))
        message.pop_back();
    return message;
}

/// What the library reports as the length of a stream that does not tell it.
bool isUnknownLength(const SF_INFO& info)
{
    return info.frames == SF_COUNT_MAX || info.frames < 0;
}

/// MPEG streams may state only an estimate, so that an early end is no sign of damage.
bool hasReliableLength(const AudioFileFormat& format)
{
    return format.getContainer() != SF_FORMAT_MPEG;
}

} // namespace

AudioFileReader::AudioFileReader(const std::filesystem::path& path)
    : filePath(path)
    , file(openForReading(path))
    , sound(sf_open_fd(file.get(), SFM_READ, &info, SF_FALSE))
{
    if (!sound)
        throw FileError(path, "cannot be read as audio: " + libraryMessage(nullptr));
    if (info.channels < 1 || info.samplerate < 1)
        throw FileError(path, "has no valid number of channels or sample rate");
    if (isUnknownLength(info) || !hasReliableLength(getFormat()))
        countFrames();
    limitToAudio();
    fullScale = fullScaleOf(*this);
}

void AudioFileReader::limitToAudio()
{
    const bool hasFixedSize = getFormat().getSampleFormat() <= SampleFormat::float64;
    const auto chunks = ChunkedFile::open(file.get());
    // The library takes what follows the samples of a W64 file for samples, too.
    if (!hasFixedSize || !chunks || chunks->getFamily() != ChunkFamily::wave64)
        return;
    const auto bytesPerFrame = getFormat().bytesFor(info.channels);
    if (const auto audio = chunks->findAudio())
        info.frames = std::min<std::int64_t>(info.frames, audio->dataSize / bytesPerFrame);
}

void AudioFileReader::countFrames()
{
    constexpr std::int64_t framesAtOnce = 16384;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * info.channels));
    info.frames = 0;
    while (const auto got = sf_readf_float(sound.get(), samples.data(), framesAtOnce))
        info.frames += got;
    // A stream without a stated length cannot always seek; opening it again works.
    startAgain();
}

void AudioFileReader::startAgain()
{
    isInPlace = false;
    lseek(file.get(), 0, SEEK_SET);
    SF_INFO again{};
    SoundFileHandle opened(sf_open_fd(file.get(), SFM_READ, &again, SF_FALSE));
    if (!opened)
        throw FileError(filePath, "cannot be read as audio: " + libraryMessage(nullptr));
    if (again.channels != info.channels)
        throw FileError(filePath, "was changed while it was read");
    sound = std::move(opened);
    nextFrame = 0;
    isInPlace = true;
}

void AudioFileReader::seek(std::int64_t frame)
{
    const auto wanted = std::clamp<std::int64_t>(frame, 0, info.frames);
    if (isInPlace && wanted == nextFrame)
        return;
    if (sf_seek(sound.get(), wanted, SEEK_SET) == wanted)
    {
        nextFrame = wanted;
        isInPlace = true;
        return;
    }
    // A decoder that tried to seek in vain may be of no use any more, but one that never seeks is.
    if (info.seekable != SF_FALSE || !isInPlace || wanted < nextFrame)
        startAgain();
    skipTo(wanted);
}

void AudioFileReader::skipTo(std::int64_t frame)
{
    constexpr std::int64_t framesAtOnce = 1024;
    std::vector<float> skipped(static_cast<std::size_t>(framesAtOnce * info.channels));
    while (nextFrame < frame)
        if (decode(skipped, std::min(framesAtOnce, frame - nextFrame)) == 0)
            throw FileError(filePath, fmt::format("cannot be decoded after frame {}", nextFrame));
}

std::int64_t AudioFileReader::decode(std::span<float> interleaved, std::int64_t wanted)
{
    const auto got =
        std::max<std::int64_t>(sf_readf_float(sound.get(), interleaved.data(), wanted), 0);
    nextFrame += got;
    isInPlace = isInPlace && got > 0;
    return got;
}

std::int64_t AudioFileReader::read(std::span<float> interleaved)
{
    const auto room = static_cast<std::int64_t>(interleaved.size()) / info.channels;
    const auto wanted = std::min(room, info.frames - nextFrame);
    if (wanted <= 0)
        return 0;

    const auto got = decode(interleaved, wanted);
    if (fullScale != 1.0)
        for (float& sample : interleaved.first(static_cast<std::size_t>(got * info.channels)))
            sample /= static_cast<float>(fullScale);
    if (sf_error(sound.get()) != SF_ERR_NO_ERROR)
        throw FileError(filePath, fmt::format("cannot be decoded after frame {}: {}", nextFrame,
                                              libraryMessage(sound.get())));
    if (got < wanted)
        throw FileError(filePath,
                        fmt::format("ends early: {} of {} frames", nextFrame, info.frames));
    return got;
}

} // namespace kalim
