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
#include <limits>
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

constexpr auto unknownLength = std::numeric_limits<std::int64_t>::max();

/// A short file that claims more than this many samples a second is no recording, and would have
/// memory taken for all of them.
constexpr std::int64_t usualClaim = std::int64_t{64} * 384000;

/// As much of what is claimed must be there, in seconds.
constexpr double leastOfClaim = 0.05;

} // namespace

AudioFileReader::AudioFileReader(const std::filesystem::path& path, Damaged whatToDo,
                                 std::optional<int> stream)
    : filePath(path)
    , file(openForReading(path))
    , source(openSampleSource(path, file.get(), stream))
    , shape(source->getShape())
    , salvages(whatToDo == Damaged::salvage)
{
    requirePlausible();
    limitToAudio();
    if (shape.frames < 0 || salvages)
        countFrames();
    fullScale = fullScaleOf(*this);
}

void AudioFileReader::requirePlausible() const
{
    constexpr int mostChannels = 1024; // as the sound library
    if (shape.channels < 1 || shape.channels > mostChannels || shape.sampleRate < 1)
        throw FileError(filePath, "has no valid number of channels or sample rate");
    const auto claim = static_cast<std::int64_t>(shape.channels) * shape.sampleRate;
    if (claim > usualClaim && shape.frames >= 0 &&
        static_cast<double>(shape.frames) < leastOfClaim * shape.sampleRate)
        throw FileError(filePath,
                        fmt::format("is no recording: its header claims {} channels at {} Hz, but "
                                    "the file holds {} samples",
                                    shape.channels, shape.sampleRate, shape.frames));
}

void AudioFileReader::limitToAudio()
{
    const bool hasFixedSize = getFormat().getSampleFormat() <= SampleFormat::float64;
    const auto chunks = ChunkedFile::open(file.get());
    // The library takes what follows the samples of a W64 file for samples, too.
    if (!hasFixedSize || !chunks || chunks->getFamily() != ChunkFamily::wave64)
        return;
    const auto bytesPerFrame = getFormat().bytesFor(shape.channels);
    if (const auto audio = chunks->findAudio())
        shape.frames = std::min<std::int64_t>(shape.frames, audio->dataSize / bytesPerFrame);
}

void AudioFileReader::countFrames()
{
    constexpr std::int64_t framesAtOnce = 16384;
    const auto stated = shape.frames;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * shape.channels));
    shape.frames = stated < 0 ? unknownLength : stated;
    while (nextFrame < shape.frames)
    {
        const auto wanted = std::min(framesAtOnce, shape.frames - nextFrame);
        if (decode(samples, wanted) > 0)
            continue;
        failure = source->getError();
        if (!salvages || !skipDamage())
            break;
    }
    if (nextFrame < stated)
        notes.push_back(
            {fmt::format("ends early: {} of {} frames can be read", nextFrame, stated), true});
    else if (!failure.empty() && !salvages)
        notes.push_back({fmt::format("cannot be decoded after {:.1f} s: {}",
                                     static_cast<double>(nextFrame) / shape.sampleRate, failure),
                         true});
    shape.frames = nextFrame;
    failure.clear();
    // A stream without a stated length cannot always seek; opening it again works.
    startAgain();
}

std::vector<FileNote> AudioFileReader::getNotes() const
{
    auto all = source->getNotes();
    all.insert(all.end(), notes.begin(), notes.end());
    if (silencedFrames > 0)
        all.push_back({fmt::format("{:.2f} s could not be decoded and are silent",
                                   static_cast<double>(silencedFrames) / shape.sampleRate),
                       true});
    return all;
}

void AudioFileReader::startAgain()
{
    isInPlace = false;
    source->restart();
    nextFrame = 0;
    isInPlace = true;
    silentUntil = 0;
}

/// Looks for a place behind damage from which the decoder can go on; up to there is silence. False
/// if there is none.
bool AudioFileReader::skipDamage()
{
    constexpr std::int64_t firstStep = 1024;
    // Where the length is not known yet, the end looks like damage.
    if (!source->isSeekable() || shape.frames == unknownLength)
        return false;
    for (auto step = firstStep; nextFrame + step < shape.frames && step < shape.frames; step *= 2)
    {
        source->restart();
        std::vector<float> frame(static_cast<std::size_t>(shape.channels));
        const auto target = nextFrame + step;
        if (!source->seek(target) || source->decode(frame, 1) != 1 || !source->seek(target))
            continue;
        silentUntil = target;
        if (target > countedUntil)
            silencedFrames += target - std::max(nextFrame, countedUntil);
        countedUntil = std::max(countedUntil, target);
        isInPlace = true;
        return true;
    }
    return false;
}

void AudioFileReader::seek(std::int64_t frame)
{
    const auto wanted = std::clamp<std::int64_t>(frame, 0, shape.frames);
    if (isInPlace && wanted == nextFrame)
        return;
    silentUntil = 0;
    if (source->isSeekable() && source->seek(wanted))
    {
        nextFrame = wanted;
        isInPlace = true;
        return;
    }
    // A decoder that tried to seek in vain may be of no use any more, but one that never seeks is.
    if (source->isSeekable() || !isInPlace || wanted < nextFrame)
        startAgain();
    skipTo(wanted);
}

void AudioFileReader::skipTo(std::int64_t frame)
{
    constexpr std::int64_t framesAtOnce = 1024;
    std::vector<float> skipped(static_cast<std::size_t>(framesAtOnce * shape.channels));
    while (nextFrame < frame)
        if (decode(skipped, std::min(framesAtOnce, frame - nextFrame)) == 0)
            throw DamagedFileError(filePath,
                                   fmt::format("cannot be decoded after frame {}", nextFrame));
}

std::int64_t AudioFileReader::decode(std::span<float> interleaved, std::int64_t wanted)
{
    const auto silent = std::clamp<std::int64_t>(silentUntil - nextFrame, 0, wanted);
    if (silent > 0)
    {
        std::ranges::fill(interleaved.first(static_cast<std::size_t>(silent * shape.channels)),
                          0.0F);
        nextFrame += silent;
        return silent;
    }
    const auto got = source->decode(interleaved, wanted);
    nextFrame += got;
    isInPlace = isInPlace && got > 0;
    return got;
}

std::int64_t AudioFileReader::read(std::span<float> interleaved)
{
    const auto room = static_cast<std::int64_t>(interleaved.size()) / shape.channels;
    const auto wanted = std::min(room, shape.frames - nextFrame);
    std::int64_t done = 0;
    while (done < wanted)
    {
        const auto rest = interleaved.subspan(static_cast<std::size_t>(done * shape.channels));
        const auto got = decode(rest, wanted - done);
        const auto error = source->getError();
        if (fullScale != 1.0)
            for (float& sample : rest.first(static_cast<std::size_t>(got * shape.channels)))
                sample /= static_cast<float>(fullScale);
        done += got;
        if (got == 0 && salvages && skipDamage())
            continue;
        if (!error.empty() && !salvages)
            throw DamagedFileError(filePath,
                                   fmt::format("cannot be decoded after frame {} of {}: {}",
                                               nextFrame, shape.frames, error));
        if (got == 0)
            throw DamagedFileError(
                filePath, fmt::format("ends early: {} of {} frames", nextFrame, shape.frames));
    }
    return std::max<std::int64_t>(wanted, 0);
}

} // namespace kalim
