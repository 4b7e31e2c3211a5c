#pragma once

#include <cstdint>

namespace orvo::audio
{

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
