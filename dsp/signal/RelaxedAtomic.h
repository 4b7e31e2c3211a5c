#pragma once

#include <atomic>

namespace orvo::audio
{

/// A value that one thread writes and others only look at, with no order between it and other data.
/// Unlike std::atomic it can be copied, so that the objects that hold it stay plain values.
template <typename T>
class RelaxedAtomic
{
public:
    RelaxedAtomic(T initial = T{}) noexcept
        : value(initial)
    {
    }

    RelaxedAtomic(const RelaxedAtomic& other) noexcept
        : value(other.get())
    {
    }

    RelaxedAtomic& operator=(const RelaxedAtomic& other) noexcept
    {
        set(other.get());
        return *this;
    }

    RelaxedAtomic& operator=(T newValue) noexcept
    {
        set(newValue);
        return *this;
    }

    operator T() const noexcept { return get(); }

private:
    T get() const noexcept { return value.load(std::memory_order_relaxed); }

    void set(T newValue) noexcept { value.store(newValue, std::memory_order_relaxed); }

    std::atomic<T> value;
};

} // namespace orvo::audio
