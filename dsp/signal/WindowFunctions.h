#pragma once

#include "dsp/signal/Signals.h"

namespace orvo::audio
{

/// Windows for the spectral analysis.
class WindowFunctions
{
public:
    /// The Hamming window 0.54 - 0.46 cos(2 pi (n + 0.5) / length), the same in all channels; at
    /// least one channel. (R. W. Hamming, "Digital Filters".) Sampling half a sample off makes it
    /// exactly symmetric. Allocates its result.
    static Signal32 generateHammingWindow(int numChannels, int length);
};

} // namespace orvo::audio
