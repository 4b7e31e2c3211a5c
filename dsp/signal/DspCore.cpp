#include "dsp/signal/DspCore.h"

#include "dsp/signal/Signals.h"
#include "dsp/signal/VectorKernels.h"

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

const Signal32 Signal32::empty;
const Signal64 Signal64::empty;
const ComplexSignal32 ComplexSignal32::empty;
const ComplexSignal64 ComplexSignal64::empty;

Signal64 Signal32::toSignal64() const
{
    Signal64 result(getNumChannels(), getNumSamples());
    for (int channel = 0; channel < getNumChannels(); ++channel)
        vo::convert32To64(getReadChannelPtr(channel), result.getWriteChannelPtr(channel),
                          getNumSamples());
    return result;
}

Signal32 Signal64::toSignal32() const
{
    Signal32 result(getNumChannels(), getNumSamples());
    for (int channel = 0; channel < getNumChannels(); ++channel)
        vo::convert64To32(getReadChannelPtr(channel), result.getWriteChannelPtr(channel),
                          getNumSamples());
    return result;
}

DspCore::DspCore()
{
    vo::chooseInstructionSet();
    enableFlushToZero();
    // Nothing to do for threads: every operation of the layer runs on its caller's thread alone.
}

const char* DspCore::getInstructionSet()
{
    return vo::chooseInstructionSet();
}

const DspCore globalDspCore;

} // namespace orvo::audio
