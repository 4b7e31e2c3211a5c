#pragma once

#include "dsp/signal/SignalArena.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

namespace orvo::audio
{

/// The storage that copies of a Signal share: one aligned run of `numSamples` values per channel,
/// channel after channel, without interleaving. Contents are unspecified after construction.
template <typename T>
class SignalData
{
public:
    /// In memory of its own; counts below 1 need none. Throws std::bad_alloc.
    SignalData(int channels, int samples)
        : SignalData(channels, samples, nullptr)
    {
        own = allocateAligned(getNumBytes(channels, samples));
        first = static_cast<T*>(own.get());
    }

    /// In memory of somebody else, of getNumBytes().
    SignalData(int channels, int samples, void* memory)
        : numSamples(samples)
        , numChannels(channels)
        , stride(getStride(samples))
        , first(static_cast<T*>(memory))
    {
    }

    /// Deep copy of all channels into memory of its own.
    SignalData(const SignalData& other)
        : SignalData(other.numChannels, other.numSamples)
    {
        for (int channel = 0; channel < numChannels; ++channel)
            vo::copy(other.getChannelPtr(channel), getChannelPtr(channel), numSamples);
    }

    SignalData& operator=(const SignalData&) = delete;

    /// First value of a channel, 0 <= channel < number of channels, unchecked.
    T* getChannelPtr(int channel) const
    {
        return first + static_cast<std::size_t>(channel) * stride;
    }

    /// What a signal of that shape needs. Throws std::bad_alloc for more than can be addressed.
    static std::size_t getNumBytes(int channels, int samples)
    {
        const auto count = static_cast<std::size_t>(std::max(channels, 0));
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T) / getStride(samples))
            throw std::bad_alloc();
        return count * getStride(samples) * sizeof(T);
    }

private:
    /// Whole cache lines, and one more: channels that lie a power of two apart would compete for
    /// the same places of the processor's cache.
    static std::size_t getStride(int samples)
    {
        constexpr std::size_t line = memoryAlignment / sizeof(T);
        return (static_cast<std::size_t>(std::max(samples, 0)) + line - 1) / line * line + line;
    }

    int numSamples;
    int numChannels;
    std::size_t stride;
    T* first;
    AlignedMemory own;
};

/// Puts the shared storage of a signal, with its count of owners, at the start of an arena's slot.
template <typename T>
struct SlotAllocator
{
    using value_type = T;

    /// Room before the samples.
    static constexpr std::size_t headSize = 2 * memoryAlignment;

    SlotAllocator(std::shared_ptr<SignalArena> owner, void* memory) noexcept
        : arena(std::move(owner))
        , slot(memory)
    {
    }

    template <typename U>
    SlotAllocator(const SlotAllocator<U>& other) noexcept
        : arena(other.arena)
        , slot(other.slot)
    {
    }

    T* allocate(std::size_t /*one*/) const noexcept
    {
        static_assert(sizeof(T) <= headSize);
        return static_cast<T*>(slot);
    }

    void deallocate(T* memory, std::size_t /*one*/) const noexcept { arena->giveBack(memory); }

    template <typename U>
    bool operator==(const SlotAllocator<U>& other) const noexcept
    {
        return slot == other.slot;
    }

    std::shared_ptr<SignalArena> arena;
    void* slot;
};

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

    /// Fresh storage of the system heap with unspecified contents.
    Signal(int channels, int samples)
        : numChannels(channels)
        , numSamples(samples)
        , data(std::make_shared<SignalData<T>>(channels, samples))
    {
    }

    /// The same in a slot of the arena; from the system heap where no slot is free or large enough.
    Signal(int channels, int samples, const std::shared_ptr<SignalArena>& arena)
        : numChannels(channels)
        , numSamples(samples)
        , data(makeData(channels, samples, arena))
    {
    }

    /// Fresh storage with every sample set to `value`.
    Signal(int channels, int samples, T value)
        : Signal(channels, samples)
    {
        fill(value);
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
            data = std::make_shared<SignalData<T>>(*data);
        return data->getChannelPtr(channel);
    }

    /// Sets every sample to `value`.
    void fill(T value)
    {
        for (int channel = 0; channel < numChannels; ++channel)
            vo::setToValue(value, getWriteChannelPtr(channel), numSamples);
    }

    /// What a slot of an arena must have for a signal of that shape.
    static std::size_t getSlotSize(int channels, int samples)
    {
        return SlotAllocator<T>::headSize + SignalData<T>::getNumBytes(channels, samples);
    }

    /// The plain sum of all channels, in channel order, without division by their number: equal
    /// channels of a stereo signal give twice the level.
    static Signal<float> sumChannels(const Signal<float>& source)
    {
        const int length = source.getNumSamples();
        Signal<float> sum(1, length);
        float* const target = sum.getWriteChannelPtr(0);
        if (source.getNumChannels() < 1)
            vo::setToZero(target, length);
        else
            vo::copy(source.getReadChannelPtr(0), target, length);
        for (int channel = 1; channel < source.getNumChannels(); ++channel)
            vo::add(target, source.getReadChannelPtr(channel), target, length);
        return sum;
    }

private:
    static std::shared_ptr<SignalData<T>> makeData(int channels, int samples,
                                                   const std::shared_ptr<SignalArena>& arena)
    {
        void* const slot = arena ? arena->take(getSlotSize(channels, samples)) : nullptr;
        if (slot == nullptr)
            return std::make_shared<SignalData<T>>(channels, samples);
        void* const samplesInSlot = static_cast<std::byte*>(slot) + SlotAllocator<T>::headSize;
        return std::allocate_shared<SignalData<T>>(SlotAllocator<T>(arena, slot), channels, samples,
                                                   samplesInSlot);
    }

    int numChannels = 0;
    int numSamples = 0;
    std::shared_ptr<SignalData<T>> data;
};

class Signal64;

/// Audio samples, magnitudes or phases in single precision.
class Signal32 : public Signal<float>
{
public:
    using Signal<float>::Signal;
    Signal32() = default;

    /// Shares the storage of `other`.
    Signal32(const Signal<float>& other)
        : Signal<float>(other)
    {
    }

    /// Exact widening of every sample into fresh storage.
    Signal64 toSignal64() const;

    static const Signal32 empty;
};

/// Samples in double precision, as filters need them.
class Signal64 : public Signal<double>
{
public:
    using Signal<double>::Signal;
    Signal64() = default;

    /// Every sample rounded to the nearest float, into fresh storage.
    Signal32 toSignal32() const;

    static const Signal64 empty;
};

/// Spectra in single precision.
class ComplexSignal32 : public Signal<std::complex<float>>
{
public:
    using Signal<std::complex<float>>::Signal;
    ComplexSignal32() = default;

    static const ComplexSignal32 empty;
};

/// Spectra in double precision.
class ComplexSignal64 : public Signal<std::complex<double>>
{
public:
    using Signal<std::complex<double>>::Signal;
    ComplexSignal64() = default;

    static const ComplexSignal64 empty;
};

} // namespace orvo::audio
