#include "dsp/signal/PublishedSignal.h"

#include <thread>
#include <utility>

namespace orvo::audio
{

bool PublishedSignal::tryPublish(const Signal32& newSignal) noexcept
{
    if (busy.test_and_set(std::memory_order_acquire))
        return false;
    const Signal32 previous = std::exchange(signal, newSignal);
    busy.clear(std::memory_order_release);
    return true; // the previous signal is let go here, after readers may come in again
}

void PublishedSignal::publish(const Signal32& newSignal) noexcept
{
    while (!tryPublish(newSignal))
        std::this_thread::yield();
}

Signal32 PublishedSignal::get() const noexcept
{
    waitForTurn();
    Signal32 handle = signal;
    busy.clear(std::memory_order_release);
    return handle;
}

void PublishedSignal::waitForTurn() const noexcept
{
    while (busy.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
}

} // namespace orvo::audio
