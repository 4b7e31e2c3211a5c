#pragma once

namespace orvo::audio
{

/// What a processor says about its timing, in samples.
struct ProcessingInfo
{
    /// Not used by any processor so far.
    int baseLatency = 0;

    /// The processor's own delay, which its owner evens out with a queue.
    int processingLatency = 0;

    /// Further latency to report beyond the delay.
    int additionalLatency = 0;

    /// Output samples per input sample.
    double timeScale = 1.0;
};

} // namespace orvo::audio
