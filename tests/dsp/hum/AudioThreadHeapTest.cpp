// The address sanitizer needs the allocation functions for itself.
#if !defined(__SANITIZE_ADDRESS__)

#include "tests/support/EngineRun.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace
{

thread_local bool isCounting = false;
thread_local int numHeapCalls = 0;

void* allocate(std::size_t numBytes, std::size_t alignment)
{
    numHeapCalls += isCounting ? 1 : 0;
    const std::size_t rounded = (std::max<std::size_t>(numBytes, 1) + alignment - 1) / alignment;
    if (void* const memory = std::aligned_alloc(alignment, rounded * alignment))
        return memory;
    throw std::bad_alloc();
}

void release(void* memory)
{
    numHeapCalls += isCounting && memory != nullptr ? 1 : 0;
    std::free(memory);
}

} // namespace

void* operator new(std::size_t numBytes)
{
    return allocate(numBytes, alignof(std::max_align_t));
}

void* operator new(std::size_t numBytes, std::align_val_t alignment)
{
    return allocate(numBytes, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    release(memory);
}

using namespace testing_support;

TEST(AudioThread, leavesTheHeapAloneFromTheFirstBlockOn)
{
    const Signal32 program = makeNoise(-20.0, 48000.0, 2.0, 2);
    for (const bool aggressive : {false, true})
        for (const bool residual : {false, true})
            for (const int blockSize : {32, 64, 441, 1024, 2048})
            {
                PreparedEngine engine(
                    {.harmonics = 96, .aggressive = aggressive, .residual = residual}, 2);
                numHeapCalls = 0;
                for (int start = 0; start + blockSize <= program.getNumSamples();
                     start += blockSize)
                {
                    const Signal32 block = cut(program, start, blockSize);
                    isCounting = true;
                    engine.process(block, false);
                    isCounting = false;
                }
                EXPECT_EQ(numHeapCalls, 0) << blockSize << (aggressive ? " aggressive" : " normal");
            }
}

#endif
