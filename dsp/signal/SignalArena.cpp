#include "dsp/signal/SignalArena.h"

#include <algorithm>

// What is free must not be touched: the address sanitizer is told, since it sees one piece of
// memory.
#if defined(__SANITIZE_ADDRESS__)
#define KALIM_CHECKS_ADDRESSES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KALIM_CHECKS_ADDRESSES 1
#endif
#endif
#if defined(KALIM_CHECKS_ADDRESSES)
#include <sanitizer/asan_interface.h>
#endif

namespace orvo::audio
{
namespace
{

void markFree([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t numBytes) noexcept
{
#if defined(KALIM_CHECKS_ADDRESSES)
    __asan_poison_memory_region(memory, numBytes);
#endif
}

void markTaken([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t numBytes) noexcept
{
#if defined(KALIM_CHECKS_ADDRESSES)
    __asan_unpoison_memory_region(memory, numBytes);
#endif
}

std::size_t roundedUp(std::size_t numBytes)
{
    return (numBytes + memoryAlignment - 1) / memoryAlignment * memoryAlignment;
}

} // namespace

SignalArena::SignalArena(std::size_t bytesPerSlot, int numSlots)
    : slotSize(roundedUp(bytesPerSlot))
    , memory(allocateAligned(slotSize * static_cast<std::size_t>(numSlots)))
    , isTaken(static_cast<std::size_t>(numSlots))
{
    markFree(memory.get(), slotSize * isTaken.size());
}

SignalArena::~SignalArena()
{
    markTaken(memory.get(), slotSize * isTaken.size());
}

void* SignalArena::take(std::size_t numBytes) noexcept
{
    if (numBytes > slotSize)
        return nullptr;
    const auto free = std::ranges::find_if(
        isTaken, [](std::atomic<bool>& flag)
        { return !flag.load(std::memory_order_relaxed) && !flag.exchange(true); });
    if (free == isTaken.end())
        return nullptr;
    void* const slot = getSlot(static_cast<std::size_t>(free - isTaken.begin()));
    markTaken(slot, slotSize);
    return slot;
}

void SignalArena::giveBack(void* slot) noexcept
{
    const auto offset = static_cast<std::byte*>(slot) - getSlot(0);
    markFree(slot, slotSize);
    isTaken[static_cast<std::size_t>(offset) / slotSize].store(false);
}

std::byte* SignalArena::getSlot(std::size_t index) const
{
    return static_cast<std::byte*>(memory.get()) + index * slotSize;
}

} // namespace orvo::audio
