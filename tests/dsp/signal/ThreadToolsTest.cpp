#include "dsp/hum/BlockAnalysis.h"
#include "dsp/signal/DspCore.h"
#include "dsp/signal/SignalArena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

using namespace orvo::audio;

TEST(SignalArena, givesEverySlotToOneOwnerAtATimeAndOutlivesItsMaker)
{
    auto arena = std::make_shared<SignalArena>(Signal32::getSlotSize(2, 100), 4);
    EXPECT_EQ(arena->take(Signal32::getSlotSize(2, 101) + memoryAlignment), nullptr) << "too long";
    std::atomic<int> numDamaged{0};
    const auto work = [&numDamaged](std::shared_ptr<SignalArena> shared, float mark)
    {
        for (int step = 0; step < 20000; ++step)
        {
            Signal32 first(2, 100, shared); // from the heap when the others have all slots
            const Signal32 second(1 + step % 2, 100, shared);
            first.fill(mark);
            const Signal32 sharer = first;
            first = second;
            numDamaged += std::count(sharer.getReadChannelPtr(1), sharer.getReadChannelPtr(1) + 100,
                                     mark) == 100
                              ? 0
                              : 1;
        }
    };
    std::vector<std::thread> threads;
    for (const float mark : {1.0F, 2.0F, 3.0F})
        threads.emplace_back(work, arena, mark);
    Signal32 kept(2, 100, arena);
    arena.reset();
    for (std::thread& thread : threads)
        thread.join();
    kept.fill(5.0F); // its slot is still there
    EXPECT_EQ(numDamaged, 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(kept.getReadChannelPtr(1)) % memoryAlignment, 0U);
}

TEST(PublishedSignal, isNeverTornNorOlderThanBeforeAndLeavesReadersTheirs)
{
    constexpr int last = 20000;
    PublishedSignal published;
    EXPECT_FALSE(published.get().hasStorage());
    EXPECT_TRUE(published.tryPublish(Signal32(1, 16, 0.0F)));
    const Signal32 early = published.get();
    std::atomic<int> numFaults{0};
    const auto read = [&]
    {
        for (float newest = 0.0F; newest < static_cast<float>(last);)
        {
            const Signal32 signal = published.get();
            const float value = signal.getReadChannelPtr(0)[0];
            for (int channel = 0; channel < signal.getNumChannels(); ++channel)
                for (int n = 0; n < signal.getNumSamples(); ++n)
                    if (signal.getReadChannelPtr(channel)[n] != value || value < newest)
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
    EXPECT_EQ(early.getReadChannelPtr(0)[15], 0.0F);
}

TEST(FlushToZero, endsWithItsScopeAndLeavesTheRoundingAlone)
{
    std::fenv_t found;
    std::fegetenv(&found);
    std::fesetenv(FE_DFL_ENV); // the test program itself runs with flush-to-zero
    std::fesetround(FE_UPWARD);
    volatile float small = 1e-30F;
    volatile float subnormal = 1e-40F;
    const auto countFlushed = [&]
    { return (small * 1e-10F == 0.0F) + (subnormal * 1e10F == 0.0F); };
    EXPECT_EQ(countFlushed(), 0);
    try
    {
        const ScopedFlushToZero flush;
        EXPECT_EQ(countFlushed(), 2);
        throw 1;
    }
    catch (int)
    {
        EXPECT_EQ(countFlushed(), 0);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetenv(&found);
}
