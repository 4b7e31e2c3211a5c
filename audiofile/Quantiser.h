#pragma once

#include "audiofile/AudioFileFormat.h"

#include <cstdint>

namespace kalim
{

/// Rounds samples to the steps of an integer format.
class Quantiser
{
public:
    /// `bits` are those that the samples use, 2 to 32.
    Quantiser(const AudioFileFormat& format, int bits);

    /// A sample, full scale being ±1, as the audio library takes it: left-aligned in 32 bits. Not a
    /// number counts as silence. Where the format is coarser than what is computed, and the sample
    /// lies between two steps, triangular noise of two steps makes the error independent of the
    /// sound; a sample that was read and not changed lies on a step and stays.
    int quantise(double sample);

    /// Samples beyond full scale so far, which were limited.
    std::int64_t getNumClipped() const { return clipped; }

private:
    double nextNoise();

    double fullScale;
    double lowest;
    std::int64_t alignment;
    bool isDithered;
    std::uint64_t noise;
    std::int64_t clipped = 0;
};

} // namespace kalim
