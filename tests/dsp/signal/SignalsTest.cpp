#include "dsp/signal/Signals.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

using namespace orvo::audio;
using namespace testing_support;

TEST(Signal, detachesWithAllChannelsAtAWriteThroughACopyAndLeavesEarlierPointersBehind)
{
    Signal64 writer(3, 5, 2.0);
    double* const early = writer.getWriteChannelPtr(0);
    const Signal64 keeper = writer;
    EXPECT_EQ(keeper.getReadChannelPtr(0), early);
    double* const written = writer.getWriteChannelPtr(0);
    written[4] = 7.0;
    early[1] = 9.0;
    EXPECT_EQ(keeper.getReadChannelPtr(0)[4], 2.0);
    EXPECT_EQ(writer.getReadChannelPtr(0)[1], 2.0);
    for (int channel = 0; channel < 3; ++channel)
    {
        EXPECT_NE(writer.getReadChannelPtr(channel), keeper.getReadChannelPtr(channel));
        EXPECT_EQ(writer.getReadChannelPtr(channel)[3], 2.0);
    }
    EXPECT_EQ(writer.getWriteChannelPtr(0), written) << "nobody shares it any more";
}

TEST(Signal, mayLackSamplesChannelsOrStorage)
{
    Signal32 noSamples(2, 0, 1.0F);
    const Signal32 sharer = noSamples;
    noSamples.getWriteChannelPtr(1); // detaches without anything to copy
    EXPECT_EQ(noSamples.getNumChannels(), 2);
    const Signal64 noChannels = Signal32(0, 5, 1.0F).toSignal64();
    EXPECT_EQ(noChannels.getNumChannels(), 0);
    EXPECT_EQ(noChannels.getNumSamples(), 5);
    EXPECT_FALSE(ComplexSignal32::empty.hasStorage());
    EXPECT_EQ(Signal32::sumChannels(Signal32(0, 4)).getReadChannelPtr(0)[3], 0.0F);
    EXPECT_EQ(Signal32::sumChannels(Signal32::empty).getNumSamples(), 0);
}

TEST(Signal, sumsItsChannelsWithoutDividing)
{
    const Signal32 source =
        makeSignal(3, 33, [](int channel, int n) { return (1 << channel) * n; });
    EXPECT_TRUE(areIdentical(Signal32::sumChannels(source),
                             makeSignal(1, 33, [](int, int n) { return 7 * n; })));
}
