#pragma once

#include <cstddef>
#include <memory>

namespace orvo::audio::precise
{

/// While one lives, large blocks of memory that are given back are kept for who asks next, on any
/// thread: what the system has to clear and map anew for every stretch takes a sixth of the time
/// where channels are many. Blocks that nobody uses are freed when the last one ends.
class LargeBlockReuse
{
public:
    LargeBlockReuse();
    ~LargeBlockReuse();

    LargeBlockReuse(const LargeBlockReuse&) = delete;
    LargeBlockReuse& operator=(const LargeBlockReuse&) = delete;
};

/// Blocks of this size and more, in bytes, are large.
inline constexpr std::size_t smallestLargeBlock = std::size_t{1} << 15;

/// Gives a large block of at least so many bytes. From any thread; throws std::bad_alloc.
std::byte* takeLargeBlock(std::size_t numBytes);

/// Takes a block back that was asked for with this size. From any thread.
void giveLargeBlock(std::byte* block, std::size_t numBytes) noexcept;

/// Allocator of containers whose large blocks are reused.
template <typename T>
struct BlockAllocator
{
    using value_type = T;

    BlockAllocator() = default;

    template <typename Other>
    BlockAllocator(const BlockAllocator<Other>& /*other*/) // NOLINT: containers convert
    {
    }

    static constexpr bool isLarge(std::size_t count)
    {
        return count >= smallestLargeBlock / sizeof(T);
    }

    T* allocate(std::size_t count)
    {
        if (!isLarge(count))
            return std::allocator<T>().allocate(count);
        return reinterpret_cast<T*>(takeLargeBlock(count * sizeof(T)));
    }

    void deallocate(T* block, std::size_t count) noexcept
    {
        if (isLarge(count))
            giveLargeBlock(reinterpret_cast<std::byte*>(block), count * sizeof(T));
        else
            std::allocator<T>().deallocate(block, count);
    }

    bool operator==(const BlockAllocator& /*other*/) const { return true; }
};

} // namespace orvo::audio::precise
