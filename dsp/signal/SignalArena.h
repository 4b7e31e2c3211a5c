#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace orvo::audio
{

/// Alignment in bytes of all sample memory: one cache line, and the widest vector of any processor
/// that the vector layer knows.
inline constexpr std::size_t memoryAlignment = 64;

/// Gives memory of allocateAligned() back.
struct AlignedFree
{
    void operator()(void* memory) const noexcept
    {
        ::operator delete (memory, std::align_val_t{memoryAlignment});
    }
};

using AlignedMemory = std::unique_ptr<void, AlignedFree>;

/// At least `numBytes` bytes of the system heap, aligned to memoryAlignment, not zeroed. Throws
/// std::bad_alloc. Not for the audio thread.
inline AlignedMemory allocateAligned(std::size_t numBytes)
{
    return AlignedMemory(::operator new (numBytes, std::align_val_t{memoryAlignment}));
}

/// Standard allocator over allocateAligned().
template <typename T>
struct AlignedAllocator
{
    using value_type = T;

    AlignedAllocator() = default;

    template <typename U>
    AlignedAllocator(const AlignedAllocator<U>& /*other*/) noexcept
    {
    }

    T* allocate(std::size_t count)
    {
        if (count > static_cast<std::size_t>(-1) / sizeof(T))
            throw std::bad_alloc();
        return static_cast<T*>(allocateAligned(count * sizeof(T)).release());
    }

    void deallocate(T* memory, std::size_t /*count*/) noexcept { AlignedFree()(memory); }

    template <typename U>
    bool operator==(const AlignedAllocator<U>& /*other*/) const noexcept
    {
        return true;
    }
};

template <typename T>
using AlignedVector = std::vector<T, AlignedAllocator<T>>;

/// Memory for the few signals that live at the same time on somebody's audio thread: slots of equal
/// size, taken from the system once and given back when the last owner goes. Its owner and every
/// signal in it share it, so that a reader on another thread may keep a signal for longer than the
/// owner lives. Taking and giving back neither lock nor touch the system heap.
class SignalArena
{
public:
    /// Throws std::bad_alloc. Not for the audio thread.
    SignalArena(std::size_t bytesPerSlot, int numSlots);
    ~SignalArena();

    SignalArena(const SignalArena&) = delete;
    SignalArena& operator=(const SignalArena&) = delete;

    /// A slot of at least `numBytes`, aligned to memoryAlignment; null when none is free or they
    /// are smaller. Any thread.
    void* take(std::size_t numBytes) noexcept;

    /// Makes a slot from take() free again. Any thread.
    void giveBack(void* slot) noexcept;

private:
    std::byte* getSlot(std::size_t index) const;

    std::size_t slotSize;
    AlignedMemory memory;
    std::vector<std::atomic<bool>> isTaken;
};

} // namespace orvo::audio
