#pragma once

#include "kalim/detect/Stretches.h"

#include <array>

namespace kalim::program
{

/// Finds where one channel was clipped: runs of three samples and more at the highest or at the
/// lowest value that the channel ever has, wherever that is, at which the wave breaks off. The
/// round top of a quiet wave, which rounding makes flat, does not count. Memory is constant.
class ClippingFinder
{
public:
    void add(const float* samples, int count);

    /// After all samples.
    Stretches finish();

private:
    /// Runs at one of the two ends, the lower one seen upside down.
    class Ceiling
    {
    public:
        void add(float value, std::int64_t place, float spacing);
        Stretches finish(float spacing);

    private:
        void raise(float value, std::int64_t place);
        void endRun(float spacing);
        void rememberRun();
        void remember(float value);
        float getDrop() const;

        float level = 0.0F; // of the first run at the highest value so far
        std::int64_t start = 0;
        std::int64_t length = 0;
        std::array<float, 256> before{}; // a ring of what came before the run
        std::size_t next = 0;
        Stretches runs;
    };

    Grain grain;
    std::int64_t position = 0;
    std::array<Ceiling, 2> ceilings;
};

} // namespace kalim::program
