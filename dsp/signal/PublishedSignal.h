#pragma once

#include "dsp/signal/Signals.h"

#include <atomic>

namespace orvo::audio
{

/// Hands signals from the audio thread to readers on other threads. The writer never waits: when a
/// reader is just taking its handle, that one publication is skipped. What was published must not
/// be written again by anybody.
class PublishedSignal
{
public:
    /// Replaces the signal unless a reader is busy. Returns whether it did. One writer, audio
    /// thread.
    bool tryPublish(const Signal32& newSignal) noexcept;

    /// Replaces the signal, waiting for a busy reader. Not for the running audio thread.
    void publish(const Signal32& newSignal) noexcept;

    /// A shared handle of the signal last published, in constant time. Any thread.
    Signal32 get() const noexcept;

private:
    void waitForTurn() const noexcept;

    mutable std::atomic_flag busy;
    Signal32 signal;
};

} // namespace orvo::audio
