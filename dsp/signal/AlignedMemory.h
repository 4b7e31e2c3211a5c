#pragma once

#include <cstddef>
#include <vector>

namespace orvo::audio
{

/// Alignment in bytes of everything that allocateAligned() returns: one cache line, and the widest
/// vector of any processor that the vector layer knows.
inline constexpr std::size_t memoryAlignment = 64;

/// Returns at least `numBytes` bytes aligned to memoryAlignment, not zeroed. Memory that was freed
/// before is handed out again without a system call and without a lock, so that a steady flow of
/// blocks of the same sizes costs the audio thread no heap access. Any thread.
/// Throws std::bad_alloc when the system has no more memory.
void* allocateAligned(std::size_t numBytes);

/// Gives memory from allocateAligned() back for reuse; null is ignored. Any thread.
void freeAligned(void* memory) noexcept;

/// Returns all idle memory to the system. Call only when no other thread allocates or frees.
void releaseIdleMemory() noexcept;

/// Idle memory that was set aside before audio runs, so that its first blocks find some. It is
/// shared with everybody, but goes back to the system with the reserve. Not for the audio thread.
class MemoryReserve
{
public:
    MemoryReserve() = default;
    ~MemoryReserve();

    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

    /// Sets `count` further pieces of `numBytes` aside. Throws std::bad_alloc.
    void add(std::size_t numBytes, int count);

    /// Gives as much back as was set aside, as far as it is idle.
    void release() noexcept;

private:
    std::vector<int> numBlocksByClass;
};

/// Standard allocator over allocateAligned(), for containers that live on the audio thread.
template <typename T>
struct AlignedAllocator
{
    using value_type = T;

    AlignedAllocator() = default;

    template <typename U>
    AlignedAllocator(const AlignedAllocator<U>& /*other*/) noexcept
    {
    }

    T* allocate(std::size_t count) { return static_cast<T*>(allocateAligned(count * sizeof(T))); }

    void deallocate(T* memory, std::size_t /*count*/) noexcept { freeAligned(memory); }

    template <typename U>
    bool operator==(const AlignedAllocator<U>& /*other*/) const noexcept
    {
        return true;
    }
};

} // namespace orvo::audio
