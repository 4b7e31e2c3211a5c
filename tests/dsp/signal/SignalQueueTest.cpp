#include "dsp/signal/SignalQueue.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

using namespace orvo::audio;
using namespace testing_support;

namespace
{

/// Sample n of channel c is start + n + 1000 c, so that a wrong place shows.
Signal32 makeRamp(int numChannels, int numSamples, int start)
{
    return makeSignal(numChannels, numSamples,
                      [&](int channel, int n) { return start + n + 1000 * channel; });
}

class Queue : public testing::Test
{
protected:
    SignalQueue<Signal32> queue;
};

} // namespace

TEST_F(Queue, givesTheSameSamplesHoweverTheyAreCut)
{
    int written = 0;
    int read = 0;
    for (int step = 1; step < 300; ++step)
    {
        const int length = 1 + step * step % 37;
        queue.add(makeRamp(2, length, written));
        written += length;
        const int wanted = step % 5 == 0 ? written - read : 1 + step * 11 % 31;
        if (written - read < wanted)
            continue;
        EXPECT_TRUE(areIdentical(queue.peek(wanted), makeRamp(2, wanted, read)));
        EXPECT_TRUE(areIdentical(queue.get(wanted), makeRamp(2, wanted, read)));
        read += wanted;
        ASSERT_EQ(queue.getNumSamples(), static_cast<std::uint64_t>(written - read));
    }
}

TEST_F(Queue, leavesWhatAPeekPastTheEndDoesNotCover)
{
    queue.add(makeRamp(2, 100, 0));
    queue.add(makeRamp(2, 50, 100));
    Signal32 out(1, 200, -1.0F); // fewer channels are filled as well
    const Signal32 sharer = out;
    queue.peek(out);
    EXPECT_TRUE(areIdentical(cut(out, 0, 150), makeRamp(1, 150, 0)));
    EXPECT_EQ(out.getReadChannelPtr(0)[150], -1.0F);
    EXPECT_EQ(sharer.getReadChannelPtr(0)[0], -1.0F);
    EXPECT_EQ(queue.getNumSamples(), 150U);
}

TEST_F(Queue, startsAgainWithUnknownChannelsWhenTheirNumberChanges)
{
    queue.add(makeRamp(1, 20, 500));
    queue.drop(3);
    queue.add(makeRamp(2, 20, 0));
    EXPECT_EQ(queue.getNumChannels(), -1);
    EXPECT_EQ(queue.getNumSamples(), 20U);
    EXPECT_FALSE(queue.get(10).hasStorage());
    EXPECT_FALSE(queue.peek(10).hasStorage());
    queue.add(makeRamp(2, 10, 20));
    EXPECT_TRUE(areIdentical(queue.get(30), makeRamp(2, 30, 0)));
}

TEST_F(Queue, ignoresBlocksWithoutSamples)
{
    queue.add(Signal32::empty);
    queue.add(Signal32(2, 0));
    EXPECT_EQ(queue.getNumChannels(), -1);
    queue.add(makeRamp(1, 4, 0));
    queue.add(Signal32(2, 0)); // would empty the queue if it counted
    EXPECT_TRUE(areIdentical(queue.get(4), makeRamp(1, 4, 0)));
    queue.clear();
    EXPECT_FALSE(queue.get(1).hasStorage());
}
