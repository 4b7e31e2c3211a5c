#include "benchmarks/HeapCalls.h"

#include <cerrno>
#include <cstddef>

// The names under which the GNU C library keeps its own functions where a program brings others.
extern "C"
{
    void* __libc_malloc(std::size_t numBytes);
    void* __libc_calloc(std::size_t count, std::size_t numBytes);
    void* __libc_realloc(void* memory, std::size_t numBytes);
    void* __libc_memalign(std::size_t alignment, std::size_t numBytes);
    void __libc_free(void* memory);
}

namespace
{

thread_local bool isCounting = false;
thread_local std::int64_t numCalls = 0;

void count()
{
    numCalls += isCounting ? 1 : 0;
}

} // namespace

extern "C"
{
    void* malloc(std::size_t numBytes)
    {
        count();
        return __libc_malloc(numBytes);
    }

    void* calloc(std::size_t number, std::size_t numBytes)
    {
        count();
        return __libc_calloc(number, numBytes);
    }

    void* realloc(void* memory, std::size_t numBytes)
    {
        count();
        return __libc_realloc(memory, numBytes);
    }

    void* memalign(std::size_t alignment, std::size_t numBytes)
    {
        count();
        return __libc_memalign(alignment, numBytes);
    }

    void* aligned_alloc(std::size_t alignment, std::size_t numBytes)
    {
        return memalign(alignment, numBytes);
    }

    int posix_memalign(void** memory, std::size_t alignment, std::size_t numBytes)
    {
        *memory = memalign(alignment, numBytes);
        return *memory != nullptr ? 0 : ENOMEM;
    }

    void free(void* memory)
    {
        if (memory != nullptr)
            count();
        __libc_free(memory);
    }
}

namespace benchmarks
{

HeapCalls::HeapCalls()
{
    numCalls = 0;
    isCounting = true;
}

HeapCalls::~HeapCalls()
{
    isCounting = false;
}

std::int64_t HeapCalls::getNumCalls() const
{
    return numCalls;
}

} // namespace benchmarks
