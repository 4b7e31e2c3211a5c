#pragma once

#include "dsp/precise/HarmonicLines.h"

#include <array>

namespace orvo::audio::precise
{

/// Harmonic lines in single precision, arranged so that the processor takes neighbouring ones
/// together: [pack][frame][lane], a pack being `width` lines. Those that the last pack lacks are
/// silent.
struct PackedLines
{
    static constexpr int width = 16; ///< no vector holds more

    explicit PackedLines(const HarmonicLines& lines);

    int getNumPacks() const { return (numLines + width - 1) / width; }

    /// Lines with those that the last pack lacks.
    int getNumLanes() const { return getNumPacks() * width; }

    /// Where a line has its value of the first frame; those of other frames are `width` apart.
    std::size_t at(int line) const
    {
        return indexOf(line / width * numFrames, width, line % width);
    }

    int numLines;
    int numFrames;
    Series<float> real;
    Series<float> imaginary;
    Series<float> noise;
};

/// Medians of the noise of each line of the pack that begins with line `first`, over the frames
/// that are not skipped; of two middle values the larger one. 0 where all are.
std::array<float, PackedLines::width> getMedianNoise(const PackedLines& lines,
                                                     const Series<char>& isSkipped, int first);

/// Estimates of one pack, as they lie in it, and how they are taken: where `isPresent` is 0 as
/// silence, otherwise the less sure the less is taken, namely the share of the power in the sum of
/// it and `doubts` times the variance.
struct PackEstimates
{
    const float* real;
    const float* imaginary;
    const float* variances;
    int numFrames;
    int numLines; ///< of the pack
    std::array<double, PackedLines::width> doubts;
    std::array<double, PackedLines::width> isPresent; ///< 0 or 1
};

/// Writes them to rows of silence that lie `stride` values apart.
void unpack(const PackEstimates& estimates, int stride, Complex* amplitudes, double* variances);

} // namespace orvo::audio::precise
