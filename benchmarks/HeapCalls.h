#pragma once

#include <cstdint>

namespace benchmarks
{

/// Counts this thread's calls of the C library's heap, and with them all others, while it lives.
class HeapCalls
{
public:
    HeapCalls();
    ~HeapCalls();

    HeapCalls(const HeapCalls&) = delete;
    HeapCalls& operator=(const HeapCalls&) = delete;

    std::int64_t getNumCalls() const;
};

} // namespace benchmarks
