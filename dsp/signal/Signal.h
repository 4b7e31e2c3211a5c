#pragma once

#include "dsp/signal/SignalData.h"

#include <memory>

namespace orvo::audio
{

/// A block of `numChannels` x `numSamples` values. Copies are O(1) and share the storage; the first
/// write through a copy detaches it. One thread at a time may use a handle; different handles of
/// one storage may be read and dropped on different threads. A signal that another thread was ever
/// given must not be written again: the share count alone does not order that thread's last read.
template <typename T>
class Signal
{
public:
    /// No channels, no samples, no storage.
    Signal() = default;

    /// Fresh storage with unspecified contents.
    Signal(int channels, int samples)
        : numChannels(channels)
        , numSamples(samples)
        , data(std::allocate_shared<SignalData<T>>(AlignedAllocator<SignalData<T>>(), channels,
                                                   samples))
    {
    }

    /// Fresh storage with every sample set to `value`.
    Signal(int channels, int samples, T value)
        : Signal(channels, samples)
    {
        for (int channel = 0; channel < numChannels; ++channel)
            vo::setToValue(value, getWriteChannelPtr(channel), numSamples);
    }

    int getNumChannels() const { return numChannels; }

    int getNumSamples() const { return numSamples; }

    /// Whether there is storage at all; a default-constructed signal has none.
    bool hasStorage() const { return data != nullptr; }

    /// The channel's samples for reading; never copies. No bounds check.
    const T* getReadChannelPtr(int channel) const { return data->getChannelPtr(channel); }

    /// The channel's samples for writing. Copies all channels to storage of this handle's own first
    /// when the storage is shared; pointers taken before stay with the old storage. No bounds
    /// check.
    T* getWriteChannelPtr(int channel)
    {
        if (data && data.use_count() > 1)
            data = std::allocate_shared<SignalData<T>>(AlignedAllocator<SignalData<T>>(), *data);
        return data->getChannelPtr(channel);
    }

    /// The plain sum of all channels, in channel order, without division by their number: equal
    /// channels of a stereo signal give twice the level.
    static Signal<float> sumChannels(const Signal<float>& source)
    {
        Signal<float> sum(1, source.getNumSamples());
        const int length = source.getNumSamples();
        if (source.getNumChannels() < 1)
            vo::setToValue(0.0F, sum.getWriteChannelPtr(0), length);
        else
            vo::copy(source.getReadChannelPtr(0), sum.getWriteChannelPtr(0), length);
        for (int channel = 1; channel < source.getNumChannels(); ++channel)
        {
            float* const target = sum.getWriteChannelPtr(0);
            vo::add(target, source.getReadChannelPtr(channel), target, length);
        }
        return sum;
    }

private:
    int numChannels = 0;
    int numSamples = 0;
    std::shared_ptr<SignalData<T>> data;
};

} // namespace orvo::audio
