#pragma once

#include "audiofile/AudioFileReader.h"

#include <cstdint>
#include <juce_core/juce_core.h>
#include <vector>

namespace kalim::standalone
{

/// The samples of an audio file as stereo, from any place: mono on both channels, the first two
/// channels of more. Any thread, but one at a time, and never the audio thread.
class SoundFileReader
{
public:
    /// Throws FileError when the file is no audio file, holds no samples, or has a rate that cannot
    /// be played.
    explicit SoundFileReader(const juce::File& file);

    /// In Hz.
    double getSampleRate() const { return file.getSampleRate(); }

    /// At least 1.
    std::int64_t getNumFrames() const { return file.getNumFrames(); }

    /// Reads frames from a position on. What lies outside the file or cannot be read is silence.
    void read(std::int64_t position, float* left, float* right, int numWanted);

private:
    void readInside(std::int64_t position, float* left, float* right, int numWanted);
    bool moveTo(std::int64_t position);
    int readPart(int numWanted);

    AudioFileReader file;

    /// What a damaged file holds up to its damage, so that it is not searched over and over again.
    std::int64_t numReachable;
    std::vector<float> interleaved;
};

} // namespace kalim::standalone
