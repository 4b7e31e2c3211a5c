#include "dsp/signal/Signals.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

namespace orvo::audio
{
namespace
{

TEST(SignalCopies, shareTheStorageUntilOneIsWritten)
{
    Signal32 first(2, 5, 1.0F);
    Signal32 second = first;
    EXPECT_EQ(second.getReadChannelPtr(1), first.getReadChannelPtr(1));

    second.getWriteChannelPtr(1)[4] = 7.0F;

    EXPECT_EQ(first.getReadChannelPtr(1)[4], 1.0F);
    EXPECT_EQ(second.getReadChannelPtr(1)[4], 7.0F);
    EXPECT_EQ(second.getReadChannelPtr(1)[3], 1.0F);
}

TEST(SignalCopies, detachWithAllChannelsAtOnce)
{
    const Signal32 first(3, 5, 2.0F);
    Signal32 second = first;
    float* const written = second.getWriteChannelPtr(0);
    for (int channel = 0; channel < 3; ++channel)
    {
        EXPECT_NE(second.getReadChannelPtr(channel), first.getReadChannelPtr(channel));
        EXPECT_EQ(second.getReadChannelPtr(channel)[4], 2.0F);
    }
    EXPECT_EQ(second.getWriteChannelPtr(0), written) << "detached a second time";
}

TEST(SignalCopies, keepTheirBufferWhileNobodySharesIt)
{
    Signal64 signal(1, 5, 1.0);
    double* const buffer = signal.getWriteChannelPtr(0);
    {
        const Signal64 copyThatLeaves = signal;
        EXPECT_EQ(copyThatLeaves.getReadChannelPtr(0), buffer);
    }
    EXPECT_EQ(signal.getWriteChannelPtr(0), buffer);
}

TEST(SignalCopies, leaveEarlierPointersWithTheOldStorage)
{
    Signal32 writer(1, 3, 1.0F);
    float* const early = writer.getWriteChannelPtr(0);
    const Signal32 keeper = writer;

    writer.getWriteChannelPtr(0)[0] = 5.0F;
    early[1] = 9.0F;

    EXPECT_EQ(keeper.getReadChannelPtr(0), early);
    EXPECT_EQ(keeper.getReadChannelPtr(0)[0], 1.0F);
    EXPECT_EQ(writer.getReadChannelPtr(0)[1], 1.0F);
}

TEST(SignalCopies, outliveTheSignalTheyWereMadeFrom)
{
    ComplexSignal32 copy;
    {
        const ComplexSignal32 original(2, 2, {3.0F, -4.0F});
        copy = original;
    }
    EXPECT_EQ(copy.getReadChannelPtr(1)[1], std::complex<float>(3.0F, -4.0F));
}

TEST(SignalShapes, mayLackSamplesOrChannels)
{
    Signal32 noSamples(2, 0, 1.0F);
    const Signal32 noChannels(0, 5, 1.0F);
    const Signal32 sharer = noSamples;

    noSamples.getWriteChannelPtr(1); // detaches without anything to copy

    EXPECT_EQ(sharer.getNumChannels(), 2);
    EXPECT_EQ(noSamples.getNumSamples(), 0);
    EXPECT_EQ(noChannels.getNumChannels(), 0);
    EXPECT_EQ(noChannels.getNumSamples(), 5);
    EXPECT_EQ(noChannels.toSignal64().getNumSamples(), 5);
}

template <typename SignalType>
class EmptySignal : public testing::Test
{
};

using SignalTypes = testing::Types<Signal32, Signal64, ComplexSignal32, ComplexSignal64>;
TYPED_TEST_SUITE(EmptySignal, SignalTypes, );

TYPED_TEST(EmptySignal, hasNoShapeAndNoStorage)
{
    for (const TypeParam& signal : {TypeParam::empty, TypeParam()})
    {
        EXPECT_EQ(signal.getNumChannels(), 0);
        EXPECT_EQ(signal.getNumSamples(), 0);
        EXPECT_FALSE(signal.hasStorage());
    }
}

TYPED_TEST(EmptySignal, givesWayToAnAlignedOneByAssignment)
{
    TypeParam signal = TypeParam::empty;
    signal = TypeParam(3, 7);
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(signal.getReadChannelPtr(channel)) % 64, 0U);
    EXPECT_FALSE(TypeParam::empty.hasStorage());
}

TEST(SumOfChannels, addsWithoutDividing)
{
    Signal32 source(3, 33, 1.0F);
    vo::setToValue(2.0F, source.getWriteChannelPtr(1), 33);
    vo::setToValue(4.0F, source.getWriteChannelPtr(2), 33);

    const Signal32 sum = Signal32::sumChannels(source);

    ASSERT_EQ(sum.getNumChannels(), 1);
    ASSERT_EQ(sum.getNumSamples(), 33);
    for (int n = 0; n < 33; ++n)
        EXPECT_EQ(sum.getReadChannelPtr(0)[n], 7.0F);
    EXPECT_EQ(source.getReadChannelPtr(0)[32], 1.0F);
}

TEST(SumOfChannels, isInItsOwnStorageEvenForOneChannel)
{
    const Signal32 source(1, 4, 3.0F);
    const Signal32 sum = Signal32::sumChannels(source);
    EXPECT_NE(sum.getReadChannelPtr(0), source.getReadChannelPtr(0));
    EXPECT_EQ(sum.getReadChannelPtr(0)[3], 3.0F);
}

TEST(SumOfChannels, isSilentWithoutChannels)
{
    const Signal32 sum = Signal32::sumChannels(Signal32(0, 4));
    ASSERT_EQ(sum.getNumChannels(), 1);
    for (int n = 0; n < 4; ++n)
        EXPECT_EQ(sum.getReadChannelPtr(0)[n], 0.0F);
    EXPECT_EQ(Signal32::sumChannels(Signal32::empty).getNumSamples(), 0);
}

TEST(SignalConversion, roundsToTheNearestFloatAndWidensExactly)
{
    Signal64 source(2, 5, 0.1);
    source.getWriteChannelPtr(1)[4] = 1.0 + 0x1p-24 + 0x1p-40; // above the middle of two floats

    const Signal32 narrow = source.toSignal32();
    const Signal64 wide = narrow.toSignal64();

    ASSERT_EQ(narrow.getNumChannels(), 2);
    ASSERT_EQ(wide.getNumSamples(), 5);
    EXPECT_EQ(narrow.getReadChannelPtr(0)[4], 0.1F);
    EXPECT_EQ(narrow.getReadChannelPtr(1)[4], 1.0F + 0x1p-23F);
    EXPECT_EQ(wide.getReadChannelPtr(0)[0], static_cast<double>(0.1F));
}

} // namespace
} // namespace orvo::audio
