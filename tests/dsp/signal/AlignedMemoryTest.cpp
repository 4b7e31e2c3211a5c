#include "dsp/signal/AlignedMemory.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

namespace orvo::audio
{
namespace
{

TEST(AlignedMemory, isAlignedAndWritableToItsEnd)
{
    const std::size_t sizes[] = {0,
                                 1,
                                 63,
                                 64,
                                 65,
                                 1000,
                                 std::size_t{1} << 20,
                                 (std::size_t{1} << 26) + 1}; // the last is too large to keep
    for (const std::size_t size : sizes)
    {
        void* const first = allocateAligned(size);
        void* const second = allocateAligned(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % memoryAlignment, 0U) << size;
        std::memset(first, 1, size);
        std::memset(second, 2, size);
        EXPECT_TRUE(size == 0 || static_cast<unsigned char*>(first)[size - 1] == 1) << size;
        freeAligned(first);
        freeAligned(second);
    }
    freeAligned(nullptr);
}

TEST(AlignedMemory, reportsWhatTheSystemCannotGive)
{
    EXPECT_THROW(allocateAligned(SIZE_MAX), std::bad_alloc);
}

TEST(AlignedMemory, survivesTheReleaseOfIdleBlocks)
{
    auto* const kept = static_cast<int*>(allocateAligned(sizeof(int)));
    *kept = 42;
    freeAligned(allocateAligned(sizeof(int)));
    releaseIdleMemory();
    freeAligned(allocateAligned(sizeof(int)));
    EXPECT_EQ(*kept, 42);
    freeAligned(kept);
}

/// Marks both ends of a block; a second owner of the same block would overwrite a mark.
struct Block
{
    explicit Block(std::uint64_t newSerial)
        : words(newSerial % 2 == 0 ? 8 : 100)
        , begin(static_cast<std::uint64_t*>(allocateAligned(words * sizeof(std::uint64_t))))
    {
        begin[0] = newSerial;
        begin[1] = words;
        begin[words - 1] = ~newSerial;
    }

    std::size_t words;
    std::uint64_t* begin;
};

bool freeIfIntact(std::uint64_t* begin)
{
    const bool isIntact = begin[begin[1] - 1] == ~begin[0];
    freeAligned(begin);
    return isIntact;
}

TEST(AlignedMemory, hasOneOwnerPerBlockOnManyThreads)
{
    constexpr std::uint64_t numThreads = 4;
    constexpr std::uint64_t numSteps = 60000;
    // Blocks wander through these places, so that most are freed by another thread.
    std::array<std::atomic<std::uint64_t*>, 8> places{};
    std::atomic<int> numDamaged{0};
    const auto work = [&](std::uint64_t thread)
    {
        std::minstd_rand random(static_cast<unsigned int>(thread + 1));
        for (std::uint64_t step = 0; step < numSteps; ++step)
        {
            const Block block(thread * numSteps + step);
            std::atomic<std::uint64_t*>& place = places[random() % places.size()];
            std::uint64_t* const other = place.exchange(block.begin, std::memory_order_acq_rel);
            if (other != nullptr && !freeIfIntact(other))
                ++numDamaged;
        }
    };
    std::vector<std::thread> threads;
    for (std::uint64_t thread = 0; thread < numThreads; ++thread)
        threads.emplace_back(work, thread);
    for (std::thread& thread : threads)
        thread.join();
    for (std::atomic<std::uint64_t*>& place : places)
        if (place != nullptr && !freeIfIntact(place))
            ++numDamaged;
    EXPECT_EQ(numDamaged, 0);
}

TEST(AlignedAllocator, servesAContainerAsItGrows)
{
    std::vector<double, AlignedAllocator<double>> values;
    for (int n = 0; n < 1000; ++n)
        values.push_back(n);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(values.data()) % memoryAlignment, 0U);
    EXPECT_EQ(values[999], 999.0);
}

} // namespace
} // namespace orvo::audio
