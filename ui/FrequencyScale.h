#pragma once

#include <cmath>

/// A logarithmic scale of frequencies in Hz onto positions from 0 to 1. Single precision
/// throughout, so that a position and its frequency are found alike wherever they are needed.
class FrequencyScale
{
public:
    FrequencyScale(float minFrequency, float maxFrequency)
        : minimum(minFrequency)
        , decades(std::log10(maxFrequency / minFrequency))
    {
    }

    /// Below 0 or above 1 for frequencies off the scale.
    float toPosition(float frequency) const { return std::log10(frequency / minimum) / decades; }

    float toFrequency(float position) const
    {
        return minimum * std::pow(10.0F, position * decades);
    }

private:
    float minimum;
    float decades;
};
