#pragma once

#include "dsp/precise/HarmonicLines.h"

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

} // namespace orvo::audio::precise
