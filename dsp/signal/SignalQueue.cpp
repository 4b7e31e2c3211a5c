#include "dsp/signal/SignalQueue.h"

#include "dsp/signal/VectorOperations.h"

#include <algorithm>

namespace orvo::audio
{
namespace
{

constexpr int unknownNumChannels = -1;

/// Copies `count` samples of every channel of `out` from one block.
template <typename SignalType>
void copyPart(const SignalType& block, int from, SignalType& out, int to, int count)
{
    for (int channel = 0; channel < out.getNumChannels(); ++channel)
        vo::copy(block.getReadChannelPtr(channel) + from, out.getWriteChannelPtr(channel) + to,
                 count);
}

} // namespace

template <typename SignalType>
void SignalQueue<SignalType>::add(const SignalType& block)
{
    if (!block.hasStorage() || block.getNumSamples() == 0)
        return;
    if (numChannels == unknownNumChannels)
    {
        // After a change of channels one block waits for its channel count to be confirmed.
        if (!blocks.empty() && blocks.front().getNumChannels() != block.getNumChannels())
            clear();
        numChannels = block.getNumChannels();
    }
    else if (numChannels != block.getNumChannels())
        clear();
    if (block.getNumSamples() < 1)
        return;
    blocks.push_back(block);
    numSamples += static_cast<std::uint64_t>(block.getNumSamples());
}

template <typename SignalType>
void SignalQueue<SignalType>::get(SignalType& out)
{
    peek(out);
    drop(out.getNumSamples());
}

template <typename SignalType>
SignalType SignalQueue<SignalType>::get(int count)
{
    if (numChannels < 1)
        return {};
    SignalType result(numChannels, count);
    get(result);
    return result;
}

template <typename SignalType>
void SignalQueue<SignalType>::peek(SignalType& out) const
{
    int remaining = out.getNumSamples();
    int written = 0;
    int position = readPosition;
    for (auto block = blocks.begin(); block != blocks.end() && remaining > 0; ++block)
    {
        const int count = std::min(block->getNumSamples() - position, remaining);
        copyPart(*block, position, out, written, count);
        written += count;
        remaining -= count;
        position = 0;
    }
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
    int remaining = count;
    while (remaining > 0 && !blocks.empty())
    {
        const int available = blocks.front().getNumSamples() - readPosition;
        const int dropped = std::min(available, remaining);
        numSamples -= static_cast<std::uint64_t>(dropped);
        remaining -= dropped;
        readPosition += dropped;
        if (dropped == available)
        {
            blocks.pop_front();
            readPosition = 0;
        }
    }
}

template <typename SignalType>
void SignalQueue<SignalType>::clear()
{
    blocks.clear();
    numSamples = 0;
    readPosition = 0;
    numChannels = unknownNumChannels;
}

template class SignalQueue<Signal32>;

} // namespace orvo::audio
