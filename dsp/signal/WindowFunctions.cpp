#include "dsp/signal/WindowFunctions.h"

#include <cmath>
#include <numbers>

namespace orvo::audio
{

Signal32 WindowFunctions::generateHammingWindow(int numChannels, int length)
{
    Signal32 window(numChannels, length);
    float* const first = window.getWriteChannelPtr(0);
    for (int n = 0; n < length; ++n)
        first[n] =
            static_cast<float>(0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * (n + 0.5) / length));
    for (int channel = 1; channel < numChannels; ++channel)
        vo::copy(first, window.getWriteChannelPtr(channel), length);
    return window;
}

} // namespace orvo::audio
