#include "standalone/FilePlayer.h"

#include <algorithm>

namespace kalim::standalone
{
namespace
{

/// When it is stopped, the sound is faded out over so many frames.
constexpr int fadeFrames = 256;

void fadeOut(float* samples, int numFrames)
{
    for (int frame = 0; frame < numFrames; ++frame)
        samples[frame] *= 1.0F - static_cast<float>(frame + 1) / static_cast<float>(numFrames);
}

} // namespace

void FilePlayer::open(const juce::File& fileToPlay)
{
    auto opened = std::make_unique<ReadAhead>(std::make_unique<SoundFileReader>(fileToPlay),
                                              outputRate.load());
    playing = false;
    {
        const juce::SpinLock::ScopedLockType lock(streamGuard);
        std::swap(stream, opened);
        wasPlaying = false;
        // Another thread may have changed it since it was asked.
        stream->setOutputRate(outputRate);
    }
    file = fileToPlay;
}

void FilePlayer::play()
{
    playing = hasFile();
}

void FilePlayer::stop()
{
    playing = false;
}

void FilePlayer::seek(double seconds)
{
    if (hasFile())
        stream->seek(seconds);
}

double FilePlayer::getPosition() const
{
    return hasFile() ? stream->getPosition() : 0.0;
}

double FilePlayer::getLength() const
{
    return hasFile() ? stream->getLength() : 0.0;
}

void FilePlayer::setOutputRate(double hz)
{
    const juce::SpinLock::ScopedLockType lock(streamGuard);
    outputRate = hz;
    if (stream != nullptr)
        stream->setOutputRate(hz);
}

bool FilePlayer::render(float* left, float* right, int numFrames)
{
    const juce::SpinLock::ScopedTryLockType lock(streamGuard);
    if (!lock.isLocked() || stream == nullptr)
        return false;
    const bool isPlayed = playing;
    const bool isFading = wasPlaying && !isPlayed;
    wasPlaying = isPlayed;
    if (isPlayed)
        renderPlaying(left, right, numFrames);
    else if (isFading)
        renderFade(left, right, numFrames);
    else
        stream->skipOutdated();
    return isPlayed || isFading;
}

void FilePlayer::renderPlaying(float* left, float* right, int numFrames)
{
    const ReadAhead::Result result = stream->read(left, right, numFrames, looping);
    for (float* const channel : {left, right})
        std::fill(channel + result.numFrames, channel + numFrames, 0.0F);
    if (result.hasEnded)
    {
        playing = false;
        wasPlaying = false;
    }
}

/// What the fade plays is played again when it goes on, so that it stays where it was stopped.
void FilePlayer::renderFade(float* left, float* right, int numFrames)
{
    const int numFaded = stream->peek(left, right, std::min(numFrames, fadeFrames));
    for (float* const channel : {left, right})
    {
        fadeOut(channel, numFaded);
        std::fill(channel + numFaded, channel + numFrames, 0.0F);
    }
}

int FilePlayer::getNumReady() const
{
    const juce::SpinLock::ScopedLockType lock(streamGuard);
    return stream == nullptr ? 0 : stream->getNumReady();
}

} // namespace kalim::standalone
