#include "dsp/signal/FlushToZero.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace orvo::audio
{
namespace
{

#if defined(__SSE2__)

constexpr std::uint64_t flushBits = 0x8040; // flush-to-zero and denormals-are-zero

std::uint64_t readControlState() noexcept
{
    return _mm_getcsr();
}

void writeControlState(std::uint64_t state) noexcept
{
    _mm_setcsr(static_cast<unsigned int>(state));
}

#elif defined(__aarch64__)

constexpr std::uint64_t flushBits = std::uint64_t{1} << 24; // one bit stands for both directions

std::uint64_t readControlState() noexcept
{
    std::uint64_t state = 0;
    asm volatile("mrs %0, fpcr" : "=r"(state));
    return state;
}

void writeControlState(std::uint64_t state) noexcept
{
    asm volatile("msr fpcr, %0" : : "r"(state));
}

#else
#error "Flush-to-zero is not known for this processor"
#endif

} // namespace

void enableFlushToZero() noexcept
{
    writeControlState(readControlState() | flushBits);
}

ScopedFlushToZero::ScopedFlushToZero() noexcept
    : savedState(readControlState())
{
    enableFlushToZero();
}

ScopedFlushToZero::~ScopedFlushToZero()
{
    writeControlState(savedState);
}

} // namespace orvo::audio
