#pragma once

#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Periods of the new rate on either side of the middle tap of a low pass before every `factor`-th
/// sample is kept.
inline constexpr int decimationReach = 12;

/// That low pass: taps of sum 1 for a factor above 1, one tap for 1, and zeros after them.
Series<float> makeDecimationTaps(int factor);

/// Every `factor`-th sample of a low-passed copy, in place with the original: result k belongs to
/// sample k times `factor`. Flat to 0.74 of half the new rate, and nothing above -80 dB folds back
/// to below 0.84 of it. A factor of 1 copies.
class Decimator
{
public:
    explicit Decimator(int factor);

    int getFactor() const { return factor; }

    /// ceil(count / factor) samples; what lies outside counts as silence.
    Series<float> process(const float* samples, int count) const;

private:
    int factor;
    int half; // taps on either side of the middle one
    Series<float> taps;
};

} // namespace orvo::audio::precise
