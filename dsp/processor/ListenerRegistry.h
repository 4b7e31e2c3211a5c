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
/// that listener, so that whoever removed it may destroy it right after; a listener may remove
/// itself, or others, from within its own call, but two listeners must not remove each other at the
/// same time. They are not owned.
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
        while (slot->numCalls.load() > countCallsOfThisThread(slot))
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

    /// One call that is going on: which thread is inside of which slot's listener. Kept here and
    /// not per thread, because a thread's own variables are allocated when it first uses them, and
    /// that may be the audio thread.
    struct Caller
    {
        std::atomic<std::thread::id> thread{std::thread::id()};
        std::atomic<const Slot*> slot{nullptr};
    };

    /// Marks a slot as being called.
    class InCall
    {
    public:
        InCall(Slot& calledSlot, std::array<Caller, 4 * capacity>& callers)
            : slot(calledSlot)
        {
            ++slot.numCalls;
            for (Caller& candidate : callers)
            {
                std::thread::id free;
                if (candidate.thread.compare_exchange_strong(free, std::this_thread::get_id()))
                {
                    candidate.slot = &slot;
                    caller = &candidate;
                    return;
                }
            }
        }

        ~InCall()
        {
            if (caller != nullptr)
            {
                caller->slot = nullptr;
                caller->thread = std::thread::id();
            }
            --slot.numCalls;
        }

        InCall(const InCall&) = delete;
        InCall& operator=(const InCall&) = delete;

    private:
        Slot& slot;
        Caller* caller = nullptr;
    };

    /// How many calls of the slot's listener this very thread is inside of.
    int countCallsOfThisThread(const Slot* slot) const
    {
        return static_cast<int>(std::ranges::count_if(callers,
                                                      [&](const Caller& caller) {
                                                          return caller.thread.load() ==
                                                                     std::this_thread::get_id() &&
                                                                 caller.slot.load() == slot;
                                                      }));
    }

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
    void callOne(const Ranked& next, const Call& call)
    {
        // First say that there is a call, then look: a removal does it the other way round.
        const InCall inCall(*next.slot, callers);
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
    std::array<Caller, 4 * capacity> callers;
};

} // namespace orvo::audio
