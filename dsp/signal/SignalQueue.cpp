#include "dsp/signal/SignalQueue.h"

#include "dsp/signal/VectorOperations.h"

#include <algorithm>

namespace orvo::audio
{
namespace
{

constexpr int unknownNumChannels = -1;

/// The `count` elements of a ring from `start` on, in two pieces.
template <typename T>
std::array<std::span<T>, 2> getPieces(std::span<T> ring, std::size_t start, std::size_t count)
{
    const std::size_t untilEnd = std::min(count, ring.size() - start);
    return {ring.subspan(start, untilEnd), ring.first(count - untilEnd)};
}

} // namespace

void SampleRing::reserve(std::size_t count)
{
    if (count <= samples.size())
        return;
    AlignedVector<float> larger(count);
    float* target = larger.data();
    for (const std::span<const float> piece : getFront(numQueued))
        target = std::ranges::copy(piece, target).out;
    samples.swap(larger);
    start = 0;
}

std::array<std::span<float>, 2> SampleRing::append(std::size_t count)
{
    if (numQueued + count > samples.size())
        reserve(std::max(numQueued + count, 2 * samples.size()));
    if (count == 0)
        return {};
    const std::size_t end = (start + numQueued) % samples.size();
    numQueued += count;
    return getPieces(std::span(samples), end, count);
}

std::array<std::span<const float>, 2> SampleRing::getFront(std::size_t count) const
{
    return getPieces(std::span<const float>(samples), start, std::min(count, numQueued));
}

void SampleRing::drop(std::size_t count)
{
    const std::size_t dropped = std::min(count, numQueued);
    numQueued -= dropped;
    // An empty ring starts afresh, so that short queues stay in one piece.
    start = numQueued == 0 ? 0 : (start + dropped) % samples.size();
}

void SampleRing::clear()
{
    start = 0;
    numQueued = 0;
}

template <typename SignalType>
void SignalQueue<SignalType>::reserve(int mostChannels, std::size_t mostSamples)
{
    rings.resize(std::max(rings.size(), static_cast<std::size_t>(std::max(mostChannels, 0))));
    for (SampleRing& ring : rings)
        ring.reserve(mostSamples);
}

template <typename SignalType>
void SignalQueue<SignalType>::add(const SignalType& block)
{
    add(block, 0, block.getNumSamples());
}

template <typename SignalType>
void SignalQueue<SignalType>::add(const SignalType& block, int from, int count)
{
    if (!block.hasStorage() || !beginBlock(block.getNumChannels(), count))
        return;
    for (int channel = 0; channel < numQueuedChannels; ++channel)
    {
        const float* source = block.getReadChannelPtr(channel) + from;
        for (const std::span<float> piece :
             rings[static_cast<std::size_t>(channel)].append(static_cast<std::size_t>(count)))
        {
            vo::copy(source, piece.data(), static_cast<int>(piece.size()));
            source += piece.size();
        }
    }
}

template <typename SignalType>
void SignalQueue<SignalType>::addSilence(int channels, int count)
{
    if (!beginBlock(channels, count))
        return;
    for (int channel = 0; channel < numQueuedChannels; ++channel)
        for (const std::span<float> piece :
             rings[static_cast<std::size_t>(channel)].append(static_cast<std::size_t>(count)))
            std::ranges::fill(piece, 0.0F);
}

/// Settles the channels for a block that is to be queued. Returns whether there is anything to
/// queue.
template <typename SignalType>
bool SignalQueue<SignalType>::beginBlock(int channels, int count)
{
    if (count == 0)
        return false;
    // After a change of channels what is queued waits for its channel count to be confirmed.
    const bool isUnconfirmed = numChannels == unknownNumChannels;
    const int expected = isUnconfirmed && numSamples > 0 ? numQueuedChannels : numChannels;
    if (expected != unknownNumChannels && expected != channels)
        clear();
    if (isUnconfirmed)
        numChannels = channels;
    if (count < 1)
        return false;
    numQueuedChannels = channels;
    numSamples += static_cast<std::uint64_t>(count);
    reserve(channels, 0);
    return true;
}

template <typename SignalType>
void SignalQueue<SignalType>::get(SignalType& out)
{
    peek(out);
    drop(out.getNumSamples());
}

template <typename SignalType>
void SignalQueue<SignalType>::get(std::span<float* const> channels, int count)
{
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        copyFront(static_cast<int>(channel), channels[channel], count);
    drop(count);
}

template <typename SignalType>
SignalType SignalQueue<SignalType>::get(int count)
{
    SignalType result = peek(count);
    if (numChannels > 0)
        drop(count);
    return result;
}

template <typename SignalType>
void SignalQueue<SignalType>::peek(SignalType& out) const
{
    for (int channel = 0; channel < out.getNumChannels() && numSamples > 0; ++channel)
        copyFront(channel, out.getWriteChannelPtr(channel), out.getNumSamples());
}

template <typename SignalType>
SignalType SignalQueue<SignalType>::peek(int count) const
{
    if (numChannels < 1)
        return {};
    SignalType result(numChannels, count);
    peek(result);
    return result;
}

template <typename SignalType>
void SignalQueue<SignalType>::drop(int count)
{
    const std::uint64_t dropped =
        std::min(numSamples, static_cast<std::uint64_t>(std::max(count, 0)));
    numSamples -= dropped;
    for (int channel = 0; channel < numQueuedChannels; ++channel)
        rings[static_cast<std::size_t>(channel)].drop(dropped);
}

template <typename SignalType>
void SignalQueue<SignalType>::clear()
{
    for (SampleRing& ring : rings)
        ring.clear();
    numSamples = 0;
    numQueuedChannels = 0;
    numChannels = unknownNumChannels;
}

template <typename SignalType>
void SignalQueue<SignalType>::copyFront(int channel, float* target, int count) const
{
    if (count < 1 || channel >= numQueuedChannels)
        return;
    for (const std::span<const float> piece :
         rings[static_cast<std::size_t>(channel)].getFront(static_cast<std::size_t>(count)))
    {
        vo::copy(piece.data(), target, static_cast<int>(piece.size()));
        target += piece.size();
    }
}

template class SignalQueue<Signal32>;

} // namespace orvo::audio
