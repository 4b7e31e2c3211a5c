#include "tests/support/Heap.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace
{

constexpr int unlimited = std::numeric_limits<int>::max();
thread_local bool isCounting = false;
thread_local int numCalls = 0;
thread_local int numLeftToAllocate = unlimited;

[[maybe_unused]] void* allocate(std::size_t numBytes, std::size_t alignment)
{
    numCalls += isCounting ? 1 : 0;
    if (numLeftToAllocate == 0)
        throw std::bad_alloc();
    numLeftToAllocate -= numLeftToAllocate == unlimited ? 0 : 1;
    const std::size_t rounded = (std::max<std::size_t>(numBytes, 1) + alignment - 1) / alignment;
    if (void* const memory = std::aligned_alloc(alignment, rounded * alignment))
        return memory;
    throw std::bad_alloc();
}

[[maybe_unused]] void release(void* memory)
{
    numCalls += isCounting && memory != nullptr ? 1 : 0;
    std::free(memory);
}

} // namespace

#if !defined(__SANITIZE_ADDRESS__)

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

#endif

namespace testing_support
{

HeapCount::HeapCount()
{
    numCalls = 0;
    isCounting = true;
}

HeapCount::~HeapCount()
{
    isCounting = false;
}

int HeapCount::getNumCalls() const
{
    return numCalls;
}

HeapLimit::HeapLimit(int numLeft)
{
    numLeftToAllocate = numLeft;
}

HeapLimit::~HeapLimit()
{
    numLeftToAllocate = unlimited;
}

} // namespace testing_support
