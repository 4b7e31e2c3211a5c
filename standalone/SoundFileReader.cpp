#include "standalone/SoundFileReader.h"

#include "base/FileError.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>

using kalim::AudioFileReader;
using kalim::FileError;

namespace
{

constexpr int blockFrames = 1024;

// Beyond these the resampling to usual rates would take too long.
constexpr int minimumRate = 1000;
constexpr int maximumRate = 768000;

std::unique_ptr<AudioFileReader> openFile(const juce::File& file)
{
    auto opened = std::make_unique<AudioFileReader>(file.getFullPathName().toStdString());
    if (opened->frames() < 1)
        throw FileError(opened->path(), "holds no samples");
    if (opened->sampleRate() < minimumRate || opened->sampleRate() > maximumRate)
        throw FileError(opened->path(), "has a sample rate that cannot be played");
    return opened;
}

/// Files with floating-point samples may hold anything.
float finite(float sample)
{
    return std::isfinite(sample) ? sample : 0.0F;
}

} // namespace

SoundFileReader::SoundFileReader(const juce::File& fileToRead)
    : file(openFile(fileToRead))
    , numFrames(file->frames())
    , numReachable(numFrames)
    , block(static_cast<std::size_t>(blockFrames * file->channels()))
{
}

void SoundFileReader::read(std::int64_t position, float* left, float* right, int numWanted)
{
    std::fill_n(left, numWanted, 0.0F);
    std::fill_n(right, numWanted, 0.0F);
    const auto before = std::clamp<std::int64_t>(-position, 0, numWanted);
    const std::int64_t start = position + before;
    const auto available = std::clamp<std::int64_t>(numReachable - start, 0, numWanted - before);
    if (available > 0 && moveTo(start))
        readInside(start, left + before, right + before, static_cast<int>(available));
}

void SoundFileReader::readInside(std::int64_t position, float* left, float* right, int numWanted)
{
    const int channels = file->channels();
    const int second = channels > 1 ? 1 : 0;
    for (int done = 0; done < numWanted;)
    {
        const int got = readBlock(numWanted - done);
        if (got <= 0)
        {
            numReachable = position + done;
            break;
        }
        for (int frame = 0; frame < got; ++frame)
        {
            const float* const samples = block.data() + frame * channels;
            left[done + frame] = finite(samples[0]);
            right[done + frame] = finite(samples[second]);
        }
        done += got;
    }
}

bool SoundFileReader::moveTo(std::int64_t position)
{
    if (position == nextPosition)
        return true;
    if (sf_seek(file->handle(), position, SEEK_SET) == position)
    {
        nextPosition = position;
        return true;
    }
    return startAgainUpTo(position);
}

/// Some codecs cannot be wound.
bool SoundFileReader::startAgainUpTo(std::int64_t position)
{
    if (nextPosition < 0 || nextPosition > position)
    {
        try
        {
            file = openFile(juce::File(file->path().native()));
            block.resize(static_cast<std::size_t>(blockFrames * file->channels()));
            nextPosition = 0;
        }
        catch (const FileError&)
        {
            nextPosition = -1;
            return false;
        }
    }
    while (nextPosition < position)
        if (readBlock(static_cast<int>(
                std::min<std::int64_t>(position - nextPosition, blockFrames))) <= 0)
            return false;
    return true;
}

int SoundFileReader::readBlock(int numWanted)
{
    const auto got = sf_readf_float(file->handle(), block.data(), std::min(numWanted, blockFrames));
    nextPosition = got > 0 && nextPosition >= 0 ? nextPosition + got : -1;
    return static_cast<int>(got);
}
