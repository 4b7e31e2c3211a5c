#pragma once

#include "dsp/signal/SpeakerId.h"

#include <vector>

namespace orvo::audio
{

/// What a processor is fed: one loudspeaker per channel, in channel order, and the sample rate.
struct AudioFormat
{
    std::vector<SpeakerId> channelMapping;

    /// In Hz.
    double sampleRate = 0.0;

    int getNumChannels() const { return static_cast<int>(channelMapping.size()); }

    /// Resizes the mapping to `numChannels` and gives 1 to 8 channels their usual loudspeakers
    /// (three channels are left, right and low frequency effects). For other counts, channels that
    /// were there keep theirs and new ones are undefined. Counts below 0 count as 0.
    void createDefaultChannelMapping(int numChannels);
};

} // namespace orvo::audio
