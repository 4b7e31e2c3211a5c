#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kalim::program
{

/// Stretches of one kind, in samples.
struct Stretches
{
    std::int64_t count = 0;
    std::int64_t longest = 0;
    std::int64_t first = -1; ///< where the first begins; negative where there is none

    void add(std::int64_t start, std::int64_t length)
    {
        first = first < 0 ? start : std::min(first, start);
        longest = std::max(longest, length);
        ++count;
    }

    /// Takes in those of another channel.
    void add(const Stretches& other)
    {
        if (other.count == 0)
            return;
        add(other.first, other.longest);
        count += other.count - 1;
    }
};

/// How coarse the samples of a channel are: the step of the integers that they were, if they were
/// integers of 8 or 16 bits; 0 otherwise, for then it does not matter.
class Grain
{
public:
    void add(float sample)
    {
        while (step > 0.0F && sample != std::nearbyint(sample / step) * step)
            step = step == coarse ? medium : 0.0F;
    }

    float getStep() const { return step; }

private:
    static constexpr float coarse = 0x1p-7F;
    static constexpr float medium = 0x1p-15F;

    float step = coarse;
};

} // namespace kalim::program
