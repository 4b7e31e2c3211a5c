#pragma once

#include <atomic>

namespace kalim::standalone
{

/// Thrown out of work that was cancelled.
struct Cancelled
{
};

/// Stands between work on a thread of its own and whoever looks at it from another.
class Progress
{
public:
    /// Any thread; the work ends when it tells of its progress the next time.
    void cancel() { isCancelled = true; }

    bool wasCancelled() const { return isCancelled; }

    /// From 0 to 1. Any thread.
    double getShare() const { return share; }

    /// For the work; throws Cancelled.
    void update(double newShare)
    {
        share = newShare;
        check();
    }

    /// Throws Cancelled.
    void check() const
    {
        if (isCancelled)
            throw Cancelled();
    }

private:
    std::atomic<double> share{0.0};
    std::atomic<bool> isCancelled{false};
};

} // namespace kalim::standalone
