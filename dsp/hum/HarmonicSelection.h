#pragma once

#include "dsp/hum/HumParameters.h"

#include <algorithm>

namespace orvo::audio
{

/// Which multiples of the fundamental are treated. Read once per frame, so that a change of
/// settings from another thread never takes effect in the middle of one.
struct HarmonicSelection
{
    static constexpr int maximum = maximumNumberOfHarmonics;

    /// The highest frequency that is treated, as a share of the sample rate. Closer to its half, a
    /// band-pass has nothing left to tell a harmonic from its mirror image.
    static constexpr double highestRelativeFrequency = 0.49;

    HarmonicSelection(int numberOfHarmonics, bool oddHarmonicsOnly)
        : count(std::clamp(numberOfHarmonics, 0, maximum))
        , onlyOdd(oddHarmonicsOnly)
    {
    }

    /// The multiple that the harmonic at `index` (from 0) stands for: 1, 2, 3, ... or 1, 3, 5, ...
    int getHarmonicNumber(int index) const { return onlyOdd ? 2 * index + 1 : index + 1; }

    /// The frequency in Hz of the harmonic at `index`, in single precision throughout.
    float getFrequency(int index, float fundamental) const
    {
        return static_cast<float>(getHarmonicNumber(index)) * fundamental;
    }

    bool operator==(const HarmonicSelection&) const = default;

    int count;
    bool onlyOdd;
};

} // namespace orvo::audio
