#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

/// Stands in for an audio device that is missing: asks for blocks at the pace of real time.
class FreeRunningClock
{
public:
    /// Called on the clock's thread with a number of frames.
    using Tick = std::function<void(int numFrames)>;

    explicit FreeRunningClock(Tick tickToCall);
    ~FreeRunningClock();

    FreeRunningClock(const FreeRunningClock&) = delete;
    FreeRunningClock& operator=(const FreeRunningClock&) = delete;

    /// Does nothing when it runs already. Any thread but the clock's.
    void start(double rateInHz, int blockFrames);

    /// After it, no more blocks are asked for. Any thread but the clock's.
    void stop();

private:
    void run(const std::stop_token& stop, double blockSeconds, int blockFrames);

    Tick tick;
    std::mutex guard; // for starting and stopping
    std::jthread thread;
};
