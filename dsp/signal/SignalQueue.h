#pragma once

#include "dsp/signal/AlignedMemory.h"
#include "dsp/signal/Signals.h"

#include <cstdint>
#include <list>

namespace orvo::audio
{

/// First-in first-out queue of samples, kept as the blocks that were added: adding shares a block
/// in constant time, samples are copied once, when they are taken out in whatever lengths are
/// needed. For one thread, the audio thread.
template <typename SignalType>
class SignalQueue
{
public:
    /// Appends a block. Blocks without storage or samples are ignored. A block with another number
    /// of channels empties the queue first; the channel count then counts as unknown until the next
    /// add, and until then the reads by length return the empty signal.
    void add(const SignalType& block);

    /// Moves as many samples as `out` holds from the front of the queue into `out`, which must not
    /// have more channels than the queued blocks. The queue should hold that many samples; what is
    /// missing leaves the rest of `out` as it was.
    void get(SignalType& out);

    /// Moves `count` samples from the front into a new signal; the empty signal while the channel
    /// count is unknown.
    SignalType get(int count);

    /// As get(out), but the samples stay queued.
    void peek(SignalType& out) const;

    /// As get(count), but the samples stay queued; what they do not cover is unspecified.
    SignalType peek(int count) const;

    /// Removes `count` samples, or all where fewer are queued, from the front without copying.
    void drop(int count);

    /// Back to the state of a new queue.
    void clear();

    /// Samples per channel that are queued.
    std::uint64_t getNumSamples() const { return numSamples; }

    /// Channels of the queued blocks, -1 while unknown.
    int getNumChannels() const { return numChannels; }

private:
    std::uint64_t numSamples = 0;
    std::list<SignalType, AlignedAllocator<SignalType>> blocks;
    int readPosition = 0;
    int numChannels = -1;
};

extern template class SignalQueue<Signal32>;

} // namespace orvo::audio
