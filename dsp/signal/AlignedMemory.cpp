#include "dsp/signal/AlignedMemory.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>

namespace orvo::audio
{
namespace
{

#if defined(__SANITIZE_ADDRESS__)
#define KALIM_CHECKS_ADDRESSES
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KALIM_CHECKS_ADDRESSES
#endif
#endif

#if defined(KALIM_CHECKS_ADDRESSES)
constexpr bool recycles = false; // every block fresh, so that a use after free is seen
#else
constexpr bool recycles = true;
#endif

constexpr int smallestClassBits = 6;
constexpr int largestClassBits = 26;
constexpr int unpooledClass = -1;
constexpr std::align_val_t alignment{memoryAlignment};

/// Precedes every block. `next` stays atomic for the block's whole life: a thread that lost the
/// race for the top of a stack may still read it after another thread has taken the block.
struct alignas(memoryAlignment) Header
{
    std::atomic<Header*> next{nullptr};
    int sizeClass = unpooledClass;
};

static_assert(sizeof(Header) == memoryAlignment);

/// Lock-free stack of idle blocks (R. K. Treiber, 1986). The address shares its word with a counter
/// that changes at every exchange, so that a block taken and put back meanwhile is noticed. The
/// counter lives in the bits that an aligned user-space address leaves free.
class IdleStack
{
public:
    void push(Header* block) noexcept
    {
        std::uint64_t seen = top.load(std::memory_order_relaxed);
        do
        {
            block->next.store(addressOf(seen), std::memory_order_relaxed);
        } while (!top.compare_exchange_weak(seen, packed(block, seen), std::memory_order_release,
                                            std::memory_order_relaxed));
    }

    Header* pop() noexcept
    {
        std::uint64_t seen = top.load(std::memory_order_acquire);
        while (Header* const block = addressOf(seen))
        {
            Header* const next = block->next.load(std::memory_order_relaxed);
            if (top.compare_exchange_weak(seen, packed(next, seen), std::memory_order_acquire,
                                          std::memory_order_acquire))
                return block;
        }
        return nullptr;
    }

private:
    static constexpr int addressBits = 48;
    static constexpr std::uint64_t lowMask = memoryAlignment - 1;
    static constexpr std::uint64_t addressMask = ((std::uint64_t{1} << addressBits) - 1) & ~lowMask;

    static Header* addressOf(std::uint64_t word) noexcept
    {
        return std::bit_cast<Header*>(static_cast<std::uintptr_t>(word & addressMask));
    }

    static std::uint64_t packed(Header* block, std::uint64_t previous) noexcept
    {
        const std::uint64_t low = (previous & lowMask) + 1;
        const std::uint64_t high = (previous >> addressBits) + (low >> smallestClassBits);
        return std::bit_cast<std::uintptr_t>(block) | (low & lowMask) | (high << addressBits);
    }

    std::atomic<std::uint64_t> top{0};
};

constinit std::array<IdleStack, largestClassBits + 1> idleBlocks{};

int sizeClassOf(std::size_t numBytes)
{
    if (!recycles || numBytes > (std::size_t{1} << largestClassBits))
        return unpooledClass;
    const int bits = static_cast<int>(std::bit_width(numBytes == 0 ? 0 : numBytes - 1));
    return bits < smallestClassBits ? smallestClassBits : bits;
}

Header* newBlock(std::size_t numBytes, int sizeClass)
{
    const std::size_t payload = sizeClass == unpooledClass ? numBytes : std::size_t{1} << sizeClass;
    if (payload > std::numeric_limits<std::size_t>::max() - sizeof(Header))
        throw std::bad_alloc();
    auto* const block = new (::operator new(sizeof(Header) + payload, alignment)) Header;
    block->sizeClass = sizeClass;
    return block;
}

} // namespace

void* allocateAligned(std::size_t numBytes)
{
    const int sizeClass = sizeClassOf(numBytes);
    Header* block = nullptr;
    if (sizeClass != unpooledClass)
        block = idleBlocks[static_cast<std::size_t>(sizeClass)].pop();
    if (block == nullptr)
        block = newBlock(numBytes, sizeClass);
    return block + 1;
}

void freeAligned(void* memory) noexcept
{
    if (memory == nullptr)
        return;
    Header* const block = static_cast<Header*>(memory) - 1;
    if (block->sizeClass == unpooledClass)
        ::operator delete(block, alignment);
    else
        idleBlocks[static_cast<std::size_t>(block->sizeClass)].push(block);
}

void releaseIdleMemory() noexcept
{
    for (IdleStack& stack : idleBlocks)
        while (Header* const block = stack.pop())
            ::operator delete(block, alignment);
}

MemoryReserve::~MemoryReserve()
{
    release();
}

void MemoryReserve::add(std::size_t numBytes, int count)
{
    const int sizeClass = sizeClassOf(numBytes);
    if (sizeClass == unpooledClass)
        return;
    numBlocksByClass.resize(idleBlocks.size());
    for (; count > 0; --count)
    {
        idleBlocks[static_cast<std::size_t>(sizeClass)].push(newBlock(numBytes, sizeClass));
        ++numBlocksByClass[static_cast<std::size_t>(sizeClass)];
    }
}

void MemoryReserve::release() noexcept
{
    for (std::size_t sizeClass = 0; sizeClass < numBlocksByClass.size(); ++sizeClass)
        for (int& count = numBlocksByClass[sizeClass]; count > 0; --count)
            ::operator delete(idleBlocks[sizeClass].pop(), alignment);
    numBlocksByClass.clear();
}

} // namespace orvo::audio
