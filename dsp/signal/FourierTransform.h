#pragma once

#include "dsp/signal/Signals.h"

#include <map>
#include <memory>
#include <utility>

namespace orvo::audio
{

/// Forward discrete Fourier transform of real signals, unscaled: bin k of N points is the sum of
/// x[n] exp(-2 pi i k n / N), for k = 0 .. N/2. N must be a power of two.
///
/// Plans are kept for every size that was asked for, so that a caller who alternates between sizes
/// pays for planning only once. Planning takes milliseconds and a process-wide lock: ask for the
/// sizes with allocate() before audio runs. One thread at a time.
class FourierTransform
{
public:
    FourierTransform();
    ~FourierTransform();

    FourierTransform(const FourierTransform&) = delete;
    FourierTransform& operator=(const FourierTransform&) = delete;

    /// Makes ready for `size` points (the power of two below, if it is none), real or complex
    /// input. Returns 0, or a negative status for sizes below 1 or above 2^24. Not for the audio
    /// thread.
    int allocate(int size, bool real);

    /// Transforms every channel of `input` into the same channel of `output`, which must have the
    /// input's channels and at least N/2 + 1 bins. Allocates first when the size is a new one.
    void forwardReal(const Signal32& input, ComplexSignal32& output);

    /// The same into a new signal of N/2 + 1 bins.
    ComplexSignal32 forwardReal(const Signal32& input);

    /// Gives back the tables that planning leaves behind for good. For a module that is unloaded
    /// with the copy of the transform library which it alone has, when all its transforms are gone;
    /// does nothing where the library is one that others use too.
    static void releasePlanner() noexcept;

private:
    class Plan;
    using Key = std::pair<int, bool>;

    bool selectKnownPlan(Key key);

    std::map<Key, std::unique_ptr<Plan>> plans;
    const Plan* current = nullptr;
    bool isReal = false;
    int size = 0;
    int order = 0;
};

} // namespace orvo::audio
