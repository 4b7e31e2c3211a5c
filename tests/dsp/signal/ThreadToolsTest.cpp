#include "dsp/signal/AlignedMemory.h"
#include "dsp/signal/FlushToZero.h"
#include "dsp/signal/PublishedSignal.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cfenv>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

using namespace orvo::audio;

TEST(AlignedMemory, isAlignedAndWritableToItsEnd)
{
    const std::size_t largest = (std::size_t{1} << 26) + 1; // too large to be kept for reuse
    for (const std::size_t size : {std::size_t{1}, std::size_t{64}, std::size_t{65}, largest})
    {
        auto* const first = static_cast<char*>(allocateAligned(size));
        auto* const second = static_cast<char*>(allocateAligned(size));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % memoryAlignment, 0U) << size;
        std::memset(first, 1, size);
        std::memset(second, 2, size);
        EXPECT_EQ(first[0] + first[size - 1], 2) << size;
        freeAligned(first);
        freeAligned(second);
    }
    EXPECT_THROW(allocateAligned(SIZE_MAX), std::bad_alloc);
}

TEST(AlignedMemory, hasOneOwnerPerBlockOnManyThreads)
{
    // Blocks wander through these places, so that most are freed by another thread.
    std::array<std::atomic<std::uint64_t*>, 8> places{};
    std::atomic<int> numDamaged{0};
    // Both ends are marked; a second owner of a block would overwrite a mark.
    const auto freeChecked = [&](std::uint64_t* block)
    {
        if (block != nullptr && block[block[1] - 1] != ~block[0])
            ++numDamaged;
        freeAligned(block);
    };
    const auto work = [&](std::uint64_t thread)
    {
        std::minstd_rand random(static_cast<unsigned int>(thread));
        for (std::uint64_t step = 0; step < 60000; ++step)
        {
            const std::uint64_t length = step % 2 == 0 ? 8 : 100;
            auto* const block = static_cast<std::uint64_t*>(allocateAligned(8 * length));
            block[0] = thread << 32 | step;
            block[1] = length;
            block[length - 1] = ~block[0];
            freeChecked(places[random() % places.size()].exchange(block));
        }
    };
    std::vector<std::thread> threads;
    for (std::uint64_t thread = 1; thread <= 4; ++thread)
        threads.emplace_back(work, thread);
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& place : places)
        freeChecked(place);
    EXPECT_EQ(numDamaged, 0);
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
