#pragma once

#include "dsp/signal/AlignedMemory.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace orvo::audio
{

/// The storage that copies of a Signal share: one aligned buffer of `numSamples` values per
/// channel, channel after channel, without interleaving. Contents are unspecified after
/// construction.
template <typename T>
class SignalData
{
public:
    /// Allocates the buffers; counts below 1 give no buffers. Throws std::bad_alloc.
    SignalData(int channels, int samples)
        : numSamples(samples)
        , numChannels(channels)
    {
        const auto count = static_cast<std::size_t>(std::max(channels, 0));
        const auto bytes = static_cast<std::size_t>(std::max(samples, 0)) * sizeof(T);
        channelPointers.reserve(count);
        try
        {
            while (channelPointers.size() < count)
                channelPointers.push_back(static_cast<T*>(allocateAligned(bytes)));
        }
        catch (...)
        {
            freeBuffers();
            throw;
        }
    }

    /// Deep copy of all channels.
    SignalData(const SignalData& other)
        : SignalData(other.numChannels, other.numSamples)
    {
        for (std::size_t channel = 0; channel < channelPointers.size(); ++channel)
            vo::copy(other.channelPointers[channel], channelPointers[channel], numSamples);
    }

    SignalData& operator=(const SignalData&) = delete;

    ~SignalData() { freeBuffers(); }

    /// First value of a channel, 0 <= channel < number of channels, unchecked.
    T* getChannelPtr(int channel) const
    {
        return channelPointers[static_cast<std::size_t>(channel)];
    }

private:
    void freeBuffers() noexcept
    {
        for (T* const buffer : channelPointers)
            freeAligned(buffer);
    }

    int numSamples;
    int numChannels;
    std::vector<T*, AlignedAllocator<T*>> channelPointers;
};

} // namespace orvo::audio
