#include "dsp/signal/DspCore.h"
#include "dsp/signal/FlushToZero.h"
#include "dsp/signal/PublishedSignal.h"
#include "dsp/signal/RelaxedAtomic.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orvo::audio
{
namespace
{

TEST(PublishedSignal, isEmptyUntilOneIsPublished)
{
    PublishedSignal published;
    EXPECT_FALSE(published.get().hasStorage());
    EXPECT_TRUE(published.tryPublish(Signal32(1, 3, 2.0F)));
    EXPECT_EQ(published.get().getReadChannelPtr(0)[2], 2.0F);
}

TEST(PublishedSignal, leavesEarlierReadersTheirSignal)
{
    PublishedSignal published;
    published.publish(Signal32(1, 3, 1.0F));
    const Signal32 early = published.get();
    published.publish(Signal32(2, 5, 2.0F));
    EXPECT_EQ(early.getNumSamples(), 3);
    EXPECT_EQ(early.getReadChannelPtr(0)[2], 1.0F);
    EXPECT_EQ(published.get().getNumChannels(), 2);
}

TEST(PublishedSignal, isNeverTornNorOlderThanBefore)
{
    constexpr int last = 20000;
    PublishedSignal published;
    std::atomic<int> numFaults{0};
    const auto read = [&]
    {
        float newest = 0.0F;
        while (newest < static_cast<float>(last))
        {
            const Signal32 signal = published.get();
            const float value =
                signal.hasStorage() ? signal.getReadChannelPtr(0)[0] : 0.0F; // none yet
            for (int channel = 0; channel < signal.getNumChannels(); ++channel)
                for (int n = 0; n < signal.getNumSamples(); ++n)
                    if (signal.getReadChannelPtr(channel)[n] != value)
                        ++numFaults;
            if (value < newest)
                ++numFaults;
            newest = value;
        }
    };
    std::thread first(read);
    std::thread second(read);
    for (int n = 1; n < last; ++n)
        published.tryPublish(Signal32(1 + n % 2, 16 + n % 16, static_cast<float>(n)));
    published.publish(Signal32(2, 16, static_cast<float>(last)));
    first.join();
    second.join();
    EXPECT_EQ(numFaults, 0);
}

TEST(RelaxedAtomic, travelsWithTheObjectThatHoldsIt)
{
    struct Holder
    {
        RelaxedAtomic<int> count = 3;
        RelaxedAtomic<float> level;
    };

    Holder first;
    first.level = 0.5F;
    Holder second = first;
    first.count = 7;
    EXPECT_EQ(second.count, 3);
    EXPECT_EQ(second.level, 0.5F);
    second = first;
    EXPECT_EQ(second.count, 7);
    std::vector<Holder> many(2, first);
    many.resize(100);
    EXPECT_EQ(many[1].count, 7);
    EXPECT_EQ(many[99].level, 0.0F);
}

/// The floating-point state of the thread as the test found it comes back at its end.
class FlushToZero : public testing::Test
{
protected:
    FlushToZero()
    {
        std::fegetenv(&found);
        std::fesetenv(FE_DFL_ENV);
    }

    ~FlushToZero() override { std::fesetenv(&found); }

    static bool keepsTinyResults() { return multiply(1e-30F, 1e-10F) != 0.0F; }

    static bool keepsTinyOperands() { return multiply(1e-40F, 1e10F) != 0.0F; }

private:
    static float multiply(volatile float a, volatile float b) { return a * b; }

    std::fenv_t found{};
};

TEST_F(FlushToZero, takesTinyNumbersAsZeroWithinItsScopeOnly)
{
    EXPECT_TRUE(keepsTinyResults());
    {
        const ScopedFlushToZero flush;
        EXPECT_FALSE(keepsTinyResults());
        EXPECT_FALSE(keepsTinyOperands());
        {
            const ScopedFlushToZero nested;
        }
        EXPECT_FALSE(keepsTinyResults());
    }
    EXPECT_TRUE(keepsTinyResults());
    EXPECT_TRUE(keepsTinyOperands());
}

TEST_F(FlushToZero, endsWhenAnExceptionLeavesItsScope)
{
    try
    {
        const ScopedFlushToZero flush;
        throw std::runtime_error("left");
    }
    catch (const std::runtime_error&)
    {
        EXPECT_TRUE(keepsTinyResults());
    }
}

TEST_F(FlushToZero, leavesTheRoundingModeAlone)
{
    std::fesetround(FE_UPWARD);
    {
        const ScopedFlushToZero flush;
        EXPECT_EQ(std::fegetround(), FE_UPWARD);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
}

TEST_F(FlushToZero, lastsOnTheThreadThatEnablesIt)
{
    std::thread(
        []
        {
            enableFlushToZero();
            EXPECT_FALSE(keepsTinyResults());
        })
        .join();
    EXPECT_TRUE(keepsTinyResults());
}

TEST(DspCore, knowsItsInstructionSet)
{
    EXPECT_NE(DspCore::getInstructionSet(), std::string("Unknown"));
}

} // namespace
} // namespace orvo::audio
