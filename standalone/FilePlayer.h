#pragma once

#include "standalone/ReadAhead.h"

#include <atomic>
#include <juce_core/juce_core.h>
#include <memory>

namespace kalim::standalone
{

/// Plays a file as stereo, at any rate. Everything but `render` and `setOutputRate` belongs to the
/// message thread.
class FilePlayer
{
public:
    /// Replaces the file and stands at its start. Throws FileError when it cannot be played, in
    /// which case the old file stays.
    void open(const juce::File& fileToPlay);

    bool hasFile() const { return stream != nullptr; }

    /// No file before the first one was opened.
    const juce::File& getFile() const { return file; }

    /// Does nothing without a file.
    void play();

    /// Stays where it is.
    void stop();

    bool isPlaying() const { return playing; }

    /// Whether the file goes on at its start when it has come to its end. May be changed while it
    /// plays.
    void setLooping(bool shouldLoop) { looping = shouldLoop; }

    bool isLooping() const { return looping; }

    /// In seconds; limited to the file.
    void seek(double seconds);

    /// In seconds, 0 without a file.
    double getPosition() const;
    double getLength() const;

    /// In Hz. Any thread but the audio thread.
    void setOutputRate(double hz);

    /// Writes the next frames, or silence. Returns false, with nothing written, when no file is
    /// playing. Audio thread: does not wait, allocate, or touch the disk.
    bool render(float* left, float* right, int numFrames);

    /// How many frames could be rendered at once now. The thread that renders.
    int getNumReady() const;

private:
    void renderPlaying(float* left, float* right, int numFrames);
    void renderFade(float* left, float* right, int numFrames);

    juce::File file;

    /// Changed by the message thread while it holds the lock, which the audio thread only tries.
    std::unique_ptr<ReadAhead> stream;
    mutable juce::SpinLock streamGuard;
    std::atomic<double> outputRate{48000.0};
    std::atomic<bool> playing{false};
    std::atomic<bool> looping{false};

    /// Whether the block before was played; used under the lock.
    bool wasPlaying = false;
};

} // namespace kalim::standalone
