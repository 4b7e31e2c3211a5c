#include "dsp/signal/Signals.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace orvo::audio;

TEST(Signal, detachesWithAllChannelsAtTheFirstWriteThroughACopy)
{
    const Signal32 first(3, 5, 2.0F);
    Signal32 second = first;
    EXPECT_EQ(second.getReadChannelPtr(1), first.getReadChannelPtr(1));
    float* const written = second.getWriteChannelPtr(0);
    written[4] = 7.0F;
    EXPECT_EQ(first.getReadChannelPtr(0)[4], 2.0F);
    for (int channel = 0; channel < 3; ++channel)
    {
        EXPECT_NE(second.getReadChannelPtr(channel), first.getReadChannelPtr(channel));
        EXPECT_EQ(second.getReadChannelPtr(channel)[3], 2.0F);
    }
    EXPECT_EQ(second.getWriteChannelPtr(0), written) << "nobody shares it any more";
}

TEST(Signal, leavesEarlierPointersWithTheOldStorage)
{
    Signal64 writer(1, 3, 1.0);
    double* const early = writer.getWriteChannelPtr(0);
    const Signal64 keeper = writer;
    writer.getWriteChannelPtr(0)[0] = 5.0;
    early[1] = 9.0;
    EXPECT_EQ(keeper.getReadChannelPtr(0), early);
    EXPECT_EQ(keeper.getReadChannelPtr(0)[0], 1.0);
    EXPECT_EQ(writer.getReadChannelPtr(0)[1], 1.0);
}

TEST(Signal, isAlignedAndMayLackSamplesChannelsOrStorage)
{
    const ComplexSignal64 bins(3, 7);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bins.getReadChannelPtr(2)) % 64, 0U);
    Signal32 noSamples(2, 0, 1.0F);
    const Signal32 sharer = noSamples;
    noSamples.getWriteChannelPtr(1); // detaches without anything to copy
    EXPECT_EQ(noSamples.getNumChannels(), 2);
    const Signal64 noChannels = Signal32(0, 5, 1.0F).toSignal64();
    EXPECT_EQ(noChannels.getNumChannels(), 0);
    EXPECT_EQ(noChannels.getNumSamples(), 5);
    EXPECT_EQ(ComplexSignal32::empty.getNumSamples(), 0);
    EXPECT_FALSE(ComplexSignal32::empty.hasStorage());
}

TEST(Signal, sumsItsChannelsWithoutDividing)
{
    Signal32 source(3, 33, 1.0F);
    orvo::vo::setToValue(2.0F, source.getWriteChannelPtr(1), 33);
    orvo::vo::setToValue(4.0F, source.getWriteChannelPtr(2), 33);
    const Signal32 sum = Signal32::sumChannels(source);
    ASSERT_EQ(sum.getNumChannels(), 1);
    for (int n = 0; n < 33; ++n)
        EXPECT_EQ(sum.getReadChannelPtr(0)[n], 7.0F);
    EXPECT_EQ(Signal32::sumChannels(Signal32(0, 4)).getReadChannelPtr(0)[3], 0.0F);
    EXPECT_EQ(Signal32::sumChannels(Signal32::empty).getNumSamples(), 0);
}

TEST(Signal, roundsToTheNearestFloatAndWidensExactly)
{
    Signal64 source(2, 5, 0.1);
    source.getWriteChannelPtr(1)[4] = 1.0 + 0x1p-24 + 0x1p-40; // above the middle of two floats
    const Signal32 narrow = source.toSignal32();
    EXPECT_EQ(narrow.getReadChannelPtr(1)[4], 1.0F + 0x1p-23F);
    EXPECT_EQ(narrow.toSignal64().getReadChannelPtr(0)[4], static_cast<double>(0.1F));
}
