#pragma once

#include <cstdint>

namespace orvo::audio
{

/// Sets the vector layer up when the program or plug-in is loaded. There is one, globalDspCore.
class DspCore
{
public:
    /// Picks the code paths of the processor at hand and switches flush-to-zero and
    /// denormals-are-zero on for the thread that loads the program.
    DspCore();

    /// Name of the instruction set that the vector layer runs on, for reports. Any thread.
    static const char* getInstructionSet();
};

extern const DspCore globalDspCore;

/// Makes tiny results and operands count as zero on the calling thread from now on. Numbers below
/// the normal range slow most processors down a hundredfold and are far below any audible level.
void enableFlushToZero() noexcept;

/// Flush-to-zero for the life of the object, on the thread that makes it; the floating-point
/// control state that was there comes back on every way out.
class ScopedFlushToZero
{
public:
    ScopedFlushToZero() noexcept;
    ~ScopedFlushToZero();

    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;

private:
    std::uint64_t savedState;
};

} // namespace orvo::audio
