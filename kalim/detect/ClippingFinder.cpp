#include "kalim/detect/ClippingFinder.h"

#include <algorithm>
#include <iterator>

namespace kalim::program
{
namespace
{

constexpr std::int64_t leastRun = 3; // samples

/// What was clipped and then dithered stays that near to its ceiling: four steps of 16 bits.
constexpr float tolerance = 0x1p-13F;

/// A parabola that stays within one step of its top for three samples falls by 16 steps within as
/// many before them, a longer one by less. This is clear.
constexpr float clearSteps = 40.0F;

/// -60 dBFS: nothing that is quieter was clipped.
constexpr float leastCeiling = 0.001F;

} // namespace

void ClippingFinder::add(const float* samples, int count)
{
    for (int n = 0; n < count; ++n, ++position)
    {
        grain.add(samples[n]);
        ceilings[0].add(samples[n], position, grain.getStep());
        ceilings[1].add(-samples[n], position, grain.getStep());
    }
}

Stretches ClippingFinder::finish()
{
    Stretches all = ceilings[0].finish(grain.getStep());
    all.add(ceilings[1].finish(grain.getStep()));
    return all;
}

void ClippingFinder::Ceiling::add(float value, std::int64_t place, float spacing)
{
    if (value > level * (1.0F + tolerance))
        raise(value, place);
    else if (value >= level * (1.0F - tolerance) && level > 0.0F)
    {
        if (length == 0)
            start = place;
        ++length;
    }
    else
    {
        if (length > 0)
            endRun(spacing);
        remember(value);
    }
}

void ClippingFinder::Ceiling::raise(float value, std::int64_t place)
{
    rememberRun(); // at what is the highest value no longer
    level = value;
    start = place;
    length = 1;
    runs = {};
}

void ClippingFinder::Ceiling::endRun(float spacing)
{
    const float step = std::max(spacing, tolerance * level);
    if (length >= leastRun && level >= leastCeiling && getDrop() > clearSteps * step)
        runs.add(start, length);
    rememberRun();
}

void ClippingFinder::Ceiling::rememberRun()
{
    for (length = std::min<std::int64_t>(length, std::ssize(before)); length > 0; --length)
        remember(level);
}

void ClippingFinder::Ceiling::remember(float value)
{
    before[next] = value;
    next = (next + 1) % before.size();
}

/// How far the wave is below the ceiling at most, in as many samples before the run as it has.
float ClippingFinder::Ceiling::getDrop() const
{
    const auto count = std::min<std::size_t>(static_cast<std::size_t>(length), before.size());
    float lowest = level;
    for (std::size_t i = 1; i <= count; ++i)
        lowest = std::min(lowest, before[(next + before.size() - i) % before.size()]);
    return level - lowest;
}

Stretches ClippingFinder::Ceiling::finish(float spacing)
{
    if (length > 0)
        endRun(spacing);
    return runs;
}

} // namespace kalim::program
