#pragma once

#include "dsp/signal/Signals.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orvo::audio
{

/// First-in first-out ring of the samples of one channel. Touches the system heap only when more is
/// queued than there is room for. One thread at a time.
class SampleRing
{
public:
    /// Makes room for `count` samples; what is queued stays. Throws std::bad_alloc, and has then
    /// changed nothing.
    void reserve(std::size_t count);

    std::size_t size() const { return numQueued; }

    /// Queues `count` samples, to be written into the two pieces, of which the second may be empty.
    std::array<std::span<float>, 2> append(std::size_t count);

    /// The `count` oldest samples, at most size(), in two pieces, of which the second may be empty.
    std::array<std::span<const float>, 2> getFront(std::size_t count) const;

    /// Removes the `count` oldest samples, at most size().
    void drop(std::size_t count);

    void clear();

private:
    AlignedVector<float> samples;
    std::size_t start = 0;
    std::size_t numQueued = 0;
};

/// First-in first-out queue of multichannel samples: they are taken out in whatever lengths are
/// needed, whatever the lengths in which they were added. For one thread, the audio thread.
template <typename SignalType>
class SignalQueue
{
public:
    /// Makes room for that many channels and samples, so that a queue within it does not touch the
    /// system heap. What is queued stays. Throws std::bad_alloc.
    void reserve(int mostChannels, std::size_t mostSamples);

    /// Appends a block. Blocks without storage or samples are ignored. A block with another number
    /// of channels empties the queue first; the channel count then counts as unknown until the next
    /// add, and until then the reads by length return the empty signal.
    void add(const SignalType& block);

    /// Appends `count` samples of a block, from the one at `from` on.
    void add(const SignalType& block, int from, int count);

    /// Appends a block of `count` zeros.
    void addSilence(int channels, int count);

    /// Moves as many samples as `out` holds from the front of the queue into `out`, which must not
    /// have more channels than the queued blocks. The queue should hold that many samples; what is
    /// missing leaves the rest of `out` as it was.
    void get(SignalType& out);

    /// Moves `count` samples from the front to where `channels` point, at most the queued channels;
    /// what is missing leaves the rest as it was.
    void get(std::span<float* const> channels, int count);

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
    bool beginBlock(int channels, int count);
    void copyFront(int channel, float* target, int count) const;

    /// One per channel, of which a queue with fewer channels uses the first.
    std::vector<SampleRing> rings;
    std::uint64_t numSamples = 0;
    int numChannels = -1;

    /// Channels of what is queued, also while numChannels waits to be confirmed.
    int numQueuedChannels = 0;
};

extern template class SignalQueue<Signal32>;

} // namespace orvo::audio
