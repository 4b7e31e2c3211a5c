#pragma once

#include <malloc.h>

/// What a thread asks of the system heap, seen through the allocation functions of Heap.cpp.
namespace testing_support
{

/// Not with the address sanitizer, which needs the allocation functions for itself.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool canSeeHeap = false;
#else
inline constexpr bool canSeeHeap = true;
#endif

/// Counts the heap calls of its thread while it lives; 0 where they cannot be seen.
class HeapCount
{
public:
    HeapCount();
    ~HeapCount();

    HeapCount(const HeapCount&) = delete;
    HeapCount& operator=(const HeapCount&) = delete;

    int getNumCalls() const;
};

/// Lets its thread allocate `numLeft` times while it lives; after that there is no memory.
class HeapLimit
{
public:
    explicit HeapLimit(int numLeft);
    ~HeapLimit();

    HeapLimit(const HeapLimit&) = delete;
    HeapLimit& operator=(const HeapLimit&) = delete;
};

/// What a process loses with each of 20 calls, in bytes, after ten calls that may take what stays;
/// no number where the sanitizer has a heap of its own.
template <typename Call>
double getLossPerCall(const Call& call)
{
    const auto repeat = [&](int count)
    {
        for (int n = 0; n < count; ++n)
            call();
        return static_cast<double>(mallinfo2().uordblks);
    };
    const double before = repeat(10);
    return (repeat(20) - before) / 20.0;
}

} // namespace testing_support
