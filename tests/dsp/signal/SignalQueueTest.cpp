#include "dsp/signal/SignalQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvo::audio
{
namespace
{

using Queue = SignalQueue<Signal32>;

/// Sample n of channel c is start + n + 1000 c, so that a wrong place shows.
Signal32 makeRamp(int numChannels, int numSamples, int start)
{
    Signal32 ramp(numChannels, numSamples);
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < numSamples; ++n)
            ramp.getWriteChannelPtr(channel)[n] = static_cast<float>(start + n + 1000 * channel);
    return ramp;
}

void expectRamp(const Signal32& signal, int numChannels, int numSamples, int start)
{
    ASSERT_EQ(signal.getNumChannels(), numChannels);
    ASSERT_GE(signal.getNumSamples(), numSamples);
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < numSamples; ++n)
            ASSERT_EQ(signal.getReadChannelPtr(channel)[n],
                      static_cast<float>(start + n + 1000 * channel))
                << "channel " << channel << ", sample " << n;
}

TEST(SignalQueue, keepsTheRestOfABlockForTheNextRead)
{
    Queue queue;
    queue.add(makeRamp(2, 100, 0));
    queue.add(makeRamp(2, 50, 100));

    expectRamp(queue.get(120), 2, 120, 0);
    EXPECT_EQ(queue.getNumSamples(), 30U);
    expectRamp(queue.get(30), 2, 30, 120);
    EXPECT_EQ(queue.getNumSamples(), 0U);
}

TEST(SignalQueue, goesOnWithTheNextBlockAfterABlockBorder)
{
    Queue queue;
    queue.add(makeRamp(1, 7, 0));
    queue.add(makeRamp(1, 5, 7));
    expectRamp(queue.get(7), 1, 7, 0);
    expectRamp(queue.peek(5), 1, 5, 7);
    EXPECT_EQ(queue.getNumSamples(), 5U);
}

TEST(SignalQueue, givesTheSameSamplesHoweverTheyAreCut)
{
    Queue queue;
    int written = 0;
    int read = 0;
    for (int step = 1; step < 300; ++step)
    {
        const int length = 1 + (step * step) % 37;
        queue.add(makeRamp(2, length, written));
        written += length;
        const int wanted = 1 + (step * 11) % 41;
        if (queue.getNumSamples() < static_cast<std::uint64_t>(wanted))
            continue;
        expectRamp(queue.get(wanted), 2, wanted, read);
        read += wanted;
        ASSERT_EQ(queue.getNumSamples(), static_cast<std::uint64_t>(written - read));
    }
    EXPECT_GT(read, 3000);
}

TEST(SignalQueue, leavesWhatAPeekPastTheEndDoesNotCover)
{
    Queue queue;
    queue.add(makeRamp(1, 100, 0));
    queue.add(makeRamp(1, 50, 100));
    Signal32 out(1, 200, -1.0F);
    queue.peek(out);
    expectRamp(out, 1, 150, 0);
    for (int n = 150; n < 200; ++n)
        EXPECT_EQ(out.getReadChannelPtr(0)[n], -1.0F);
    EXPECT_EQ(queue.getNumSamples(), 150U);

    Signal32 untouched(1, 3, -1.0F);
    Queue().peek(untouched);
    EXPECT_EQ(untouched.getReadChannelPtr(0)[0], -1.0F);
}

TEST(SignalQueue, takesNothingForASignalWithoutSamples)
{
    Queue queue;
    queue.add(makeRamp(1, 4, 0));
    Signal32 nothing(1, 0);
    queue.get(nothing);
    queue.drop(0);
    queue.drop(-3);
    EXPECT_EQ(queue.get(0).getNumChannels(), 1);
    expectRamp(queue.get(4), 1, 4, 0);
}

TEST(SignalQueue, fillsFewerChannelsThanItHolds)
{
    Queue queue;
    queue.add(makeRamp(3, 5, 0));
    Signal32 out(2, 5);
    queue.get(out);
    expectRamp(out, 2, 5, 0);
    EXPECT_EQ(queue.getNumSamples(), 0U);
}

TEST(SignalQueue, sharesItsBlocksButNotItsResults)
{
    Signal32 block = makeRamp(1, 10, 0);
    Queue queue;
    queue.add(block);
    block.getWriteChannelPtr(0)[0] = 99.0F; // must go to the block's own storage
    Signal32 out(1, 10, -1.0F);
    const Signal32 sharer = out;
    queue.peek(out);
    expectRamp(out, 1, 10, 0);
    EXPECT_EQ(sharer.getReadChannelPtr(0)[0], -1.0F);
}

TEST(SignalQueue, dropsAcrossBlocksAndNoMoreThanThereIs)
{
    Queue queue;
    queue.add(makeRamp(1, 6, 0));
    queue.add(makeRamp(1, 6, 6));
    queue.add(makeRamp(1, 6, 12));
    queue.drop(2);
    queue.drop(11);
    expectRamp(queue.peek(5), 1, 5, 13);
    queue.drop(1000);
    EXPECT_EQ(queue.getNumSamples(), 0U);
    queue.add(makeRamp(1, 3, 40));
    expectRamp(queue.get(3), 1, 3, 40);
}

TEST(SignalQueue, startsAgainWithUnknownChannelsWhenTheirNumberChanges)
{
    Queue queue;
    queue.add(makeRamp(1, 20, 500));
    queue.drop(3);
    queue.add(makeRamp(2, 20, 0));

    EXPECT_EQ(queue.getNumChannels(), -1);
    EXPECT_EQ(queue.getNumSamples(), 20U);
    EXPECT_FALSE(queue.get(10).hasStorage());
    EXPECT_FALSE(queue.peek(10).hasStorage());
    Signal32 out(2, 10);
    queue.peek(out); // reading into a given signal needs no channel count
    expectRamp(out, 2, 10, 0);

    queue.add(makeRamp(2, 10, 20));
    EXPECT_EQ(queue.getNumChannels(), 2);
    expectRamp(queue.get(30), 2, 30, 0);
}

TEST(SignalQueue, ignoresBlocksWithoutSamples)
{
    Queue queue;
    for (const Signal32& nothing : {Signal32::empty, Signal32(2, 0)})
        queue.add(nothing);
    EXPECT_EQ(queue.getNumChannels(), -1);
    queue.add(makeRamp(1, 4, 0));
    queue.add(Signal32(2, 0)); // would empty the queue if it counted
    EXPECT_EQ(queue.getNumChannels(), 1);
    expectRamp(queue.get(4), 1, 4, 0);
}

TEST(SignalQueue, isAsNewAfterClearing)
{
    Queue queue;
    queue.add(makeRamp(1, 10, 0));
    queue.drop(4);
    queue.clear();
    EXPECT_EQ(queue.getNumSamples(), 0U);
    EXPECT_FALSE(queue.get(1).hasStorage());
    queue.add(makeRamp(3, 10, 0));
    expectRamp(queue.get(10), 3, 10, 0);
}

} // namespace
} // namespace orvo::audio
