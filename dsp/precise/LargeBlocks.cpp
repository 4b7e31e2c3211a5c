#include "dsp/precise/LargeBlocks.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

#include <bit>
#include <map>
#include <mutex>
#include <new>
#include <vector>

namespace orvo::audio::precise
{
namespace
{

/// Sizes are rounded up to eight steps per power of two, so that a block fits what is nearly as
/// large as what it was taken for.
constexpr std::size_t stepsPerOctave = 8;

constexpr std::size_t roundUp(std::size_t numBytes)
{
    const std::size_t step = std::bit_floor(numBytes) / stepsPerOctave;
    return (numBytes + step - 1) / step * step;
}

/// Blocks of this size and more begin where a huge page does, and take whole ones where they are
/// kept: passes along rows that lie far apart otherwise wait for the table of pages at every step.
constexpr std::size_t hugePage = std::size_t{1} << 21;
constexpr std::size_t smallestHuge = hugePage / 2;

bool isHuge(std::size_t size)
{
    return size >= smallestHuge;
}

std::byte* allocate(std::size_t size, [[maybe_unused]] bool isKept)
{
    if (!isHuge(size))
        return std::allocator<std::byte>().allocate(size);
    const std::size_t whole = (size + hugePage - 1) / hugePage * hugePage;
    void* const block = ::operator new (isKept ? whole : size, std::align_val_t{hugePage});
#ifdef __linux__
    if (isKept)
        madvise(block, whole, MADV_HUGEPAGE); // only advice: nothing to do where it is not taken
#endif
    return static_cast<std::byte*>(block);
}

void release(std::byte* block, std::size_t size)
{
    if (isHuge(size))
        ::operator delete (block, std::align_val_t{hugePage});
    else
        std::allocator<std::byte>().deallocate(block, size);
}

struct Store
{
    std::mutex mutex;
    int numUsers = 0;
    std::map<std::size_t, std::vector<std::byte*>> blocks; // [size]
};

Store& getStore()
{
    static Store store;
    return store;
}

/// Whether a block could be put aside: not where nobody reuses it, nor where memory is at its end.
bool keep(std::byte* block, std::size_t size) noexcept
{
    Store& store = getStore();
    const std::lock_guard lock(store.mutex);
    if (store.numUsers == 0)
        return false;
    try
    {
        store.blocks[size].push_back(block);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

} // namespace

LargeBlockReuse::LargeBlockReuse()
{
    Store& store = getStore();
    const std::lock_guard lock(store.mutex);
    ++store.numUsers;
}

LargeBlockReuse::~LargeBlockReuse()
{
    Store& store = getStore();
    const std::lock_guard lock(store.mutex);
    if (--store.numUsers > 0)
        return;
    for (const auto& [size, blocks] : store.blocks)
        for (std::byte* const block : blocks)
            release(block, size);
    store.blocks.clear();
}

std::byte* takeLargeBlock(std::size_t numBytes)
{
    const std::size_t size = roundUp(numBytes);
    bool isKept = false;
    {
        Store& store = getStore();
        const std::lock_guard lock(store.mutex);
        isKept = store.numUsers > 0;
        const auto found = store.blocks.find(size);
        if (found != store.blocks.end() && !found->second.empty())
        {
            std::byte* const block = found->second.back();
            found->second.pop_back();
            return block;
        }
    }
    return allocate(size, isKept);
}

void giveLargeBlock(std::byte* block, std::size_t numBytes) noexcept
{
    const std::size_t size = roundUp(numBytes);
    if (!keep(block, size))
        release(block, size);
}

} // namespace orvo::audio::precise
