#pragma once

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

} // namespace testing_support
