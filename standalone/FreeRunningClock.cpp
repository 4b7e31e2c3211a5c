#include "standalone/FreeRunningClock.h"

#include <chrono>
#include <utility>

using namespace std::chrono;

namespace
{

/// A clock that is further behind, after the machine slept for example, does not catch up.
constexpr milliseconds longestDelay{200};

} // namespace

FreeRunningClock::FreeRunningClock(Tick tickToCall)
    : tick(std::move(tickToCall))
{
}

FreeRunningClock::~FreeRunningClock()
{
    stop();
}

void FreeRunningClock::start(double rateInHz, int blockFrames)
{
    const std::lock_guard lock(guard);
    if (!thread.joinable())
        thread = std::jthread(
            [this, seconds = blockFrames / rateInHz, blockFrames](const std::stop_token& stopToken)
            { run(stopToken, seconds, blockFrames); });
}

void FreeRunningClock::stop()
{
    const std::lock_guard lock(guard);
    if (!thread.joinable())
        return;
    thread.request_stop();
    thread.join();
}

void FreeRunningClock::run(const std::stop_token& stopToken, double blockSeconds, int blockFrames)
{
    const auto period = duration_cast<steady_clock::duration>(duration<double>(blockSeconds));
    std::mutex idleGuard;
    std::condition_variable_any idle;
    auto next = steady_clock::now();
    while (!stopToken.stop_requested())
    {
        tick(blockFrames);
        next += period;
        if (steady_clock::now() - next > longestDelay)
            next = steady_clock::now();
        std::unique_lock lock(idleGuard);
        idle.wait_until(lock, stopToken, next, [] { return false; });
    }
}
