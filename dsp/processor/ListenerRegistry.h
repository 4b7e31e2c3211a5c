#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace orvo::audio
{

/// Listeners that may be added and removed while other threads notify them. Notifying never waits,
/// takes no lock and allocates nothing. Removing waits until no other thread is inside a call of
/// that listener, so that it may be destroyed right after; a listener may remove itself, or others,
/// from within its own call, but two listeners must not remove each other at the same time. They
/// are not owned.
template <typename Listener>
class ListenerRegistry
{
public:
    /// How many listeners there may be at a time.
    static constexpr std::size_t capacity = 64;

    /// Appends a listener; null and one that is there already are ignored. Not for the audio
    /// thread. Throws std::length_error when there are too many.
    void add(Listener* listener)
    {
        const std::lock_guard lock(changes);
        if (listener == nullptr || find(listener) != nullptr)
            return;
        const auto free = std::ranges::find(slots, false, &Slot::isTaken);
        if (free == slots.end())
            throw std::length_error("Too many listeners");
        free->isTaken = true;
        free->rank = nextRank++;
        free->listener = listener;
    }

    /// Removes a listener, if it is there. Not for the audio thread.
    void remove(Listener* listener)
    {
        Slot* slot = nullptr;
        {
            const std::lock_guard lock(changes);
            slot = find(listener);
            if (slot == nullptr)
                return;
            slot->listener = nullptr;
        }
        // Without the lock, for a call that is waited for may itself add and remove.
        while (slot->numCalls.load() > CallsOfThisThread::get().count(slot))
            std::this_thread::yield();
        const std::lock_guard lock(changes);
        slot->isTaken = false;
    }

    /// Calls `call(listener)` for every listener, the first one added first. Any thread.
    template <typename Call>
    void callFirstToLast(const Call& call)
    {
        callInOrder(call, std::ranges::less());
    }

    /// The same, the last one added first.
    template <typename Call>
    void callLastToFirst(const Call& call)
    {
        callInOrder(call, std::ranges::greater());
    }

private:
    struct Slot
    {
        std::atomic<Listener*> listener{nullptr};
        std::atomic<std::uint64_t> rank{0};
        std::atomic<int> numCalls{0};
        bool isTaken = false; // under the lock
    };

    /// The slots whose listeners the present thread is inside of, calls within calls included.
    class CallsOfThisThread
    {
    public:
        static CallsOfThisThread& get()
        {
            thread_local CallsOfThisThread calls;
            return calls;
        }

        void enter(const Slot* slot)
        {
            if (depth < entered.size())
                entered[depth] = slot;
            ++depth;
        }

        void leave() { --depth; }

        int count(const Slot* slot) const
        {
            const auto end =
                entered.begin() + static_cast<std::ptrdiff_t>(std::min(depth, entered.size()));
            return static_cast<int>(std::count(entered.begin(), end, slot));
        }

    private:
        std::array<const Slot*, 4 * capacity> entered{};
        std::size_t depth = 0;
    };

    /// Marks a slot as being called.
    class InCall
    {
    public:
        explicit InCall(Slot& calledSlot)
            : slot(calledSlot)
        {
            ++slot.numCalls;
            CallsOfThisThread::get().enter(&slot);
        }

        ~InCall()
        {
            CallsOfThisThread::get().leave();
            --slot.numCalls;
        }

        InCall(const InCall&) = delete;
        InCall& operator=(const InCall&) = delete;

    private:
        Slot& slot;
    };

    struct Ranked
    {
        std::uint64_t rank;
        Slot* slot;
    };

    template <typename Call, typename Order>
    void callInOrder(const Call& call, Order order)
    {
        std::array<Ranked, capacity> found;
        std::size_t numFound = 0;
        for (Slot& slot : slots)
            if (slot.listener.load() != nullptr)
                found[numFound++] = {slot.rank.load(), &slot};
        const auto end = found.begin() + static_cast<std::ptrdiff_t>(numFound);
        std::ranges::sort(found.begin(), end, order, &Ranked::rank);
        std::for_each(found.begin(), end, [&](const Ranked& next) { callOne(next, call); });
    }

    template <typename Call>
    static void callOne(const Ranked& next, const Call& call)
    {
        // First say that there is a call, then look: a removal does it the other way round.
        const InCall inCall(*next.slot);
        Listener* const listener = next.slot->listener.load();
        if (listener != nullptr && next.slot->rank.load() == next.rank)
            call(*listener);
    }

    Slot* find(const Listener* listener)
    {
        const auto slot = std::ranges::find_if(slots, [listener](const Slot& candidate)
                                               { return candidate.listener.load() == listener; });
        return listener == nullptr || slot == slots.end() ? nullptr : &*slot;
    }

    std::mutex changes;
    std::uint64_t nextRank = 1;
    std::array<Slot, capacity> slots;
};

} // namespace orvo::audio
