#include "standalone/SoundFileReader.h"

#include "base/FileError.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace kalim::standalone
{
namespace
{

constexpr int framesAtOnce = 1024;

// In Hz; beyond these the resampling to usual rates would take too long.
constexpr int minimumRate = 1000;
constexpr int maximumRate = 768000;

AudioFileReader openFile(const juce::File& file)
{
    AudioFileReader opened(file.getFullPathName().toStdString());
    if (opened.getNumFrames() < 1)
        throw FileError(opened.getPath(), "holds no samples");
    if (opened.getSampleRate() < minimumRate || opened.getSampleRate() > maximumRate)
        throw FileError(opened.getPath(), "has a sample rate that cannot be played");
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
    , numReachable(file.getNumFrames())
    , interleaved(static_cast<std::size_t>(framesAtOnce * file.getNumChannels()))
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
    const int channels = file.getNumChannels();
    const int second = channels > 1 ? 1 : 0;
    for (int done = 0; done < numWanted;)
    {
        const int got = readPart(std::min(numWanted - done, framesAtOnce));
        if (got <= 0)
        {
            numReachable = position + done;
            break;
        }
        for (int frame = 0; frame < got; ++frame)
        {
            const float* const samples = interleaved.data() + frame * channels;
            left[done + frame] = finite(samples[0]);
            right[done + frame] = finite(samples[second]);
        }
        done += got;
    }
}

bool SoundFileReader::moveTo(std::int64_t position)
{
    try
    {
        file.seek(position);
        return true;
    }
    catch (const FileError&)
    {
        numReachable = std::min(numReachable, file.getPosition());
        return false;
    }
}

/// Returns how many frames could be read: none where the file is damaged or ends early.
int SoundFileReader::readPart(int numWanted)
{
    const std::int64_t start = file.getPosition();
    const auto numSamples = static_cast<std::size_t>(numWanted * file.getNumChannels());
    try
    {
        file.read(std::span(interleaved).first(numSamples));
    }
    catch (const FileError&)
    {
        // What could be decoded before the damage is played.
    }
    return static_cast<int>(file.getPosition() - start);
}

} // namespace kalim::standalone
