#include "kalim/detect/DropoutFinder.h"

#include <algorithm>
#include <cmath>

namespace kalim::program
{
namespace
{

constexpr double leastSeconds = 0.001;
constexpr int leastSamples = 16; // at low rates, where sound may well stay as it is for some

/// What is beside a run, and right beside it.
constexpr double reachSeconds = 0.010;
constexpr int leastReach = 80;
constexpr double nearSeconds = 0.0005;
constexpr int leastNear = 4;

/// Right beside a run that no fade leads to there is so much of the sound that is beside it: the
/// straight fade of 10 ms has a twentieth there.
constexpr float nearShare = 0.12F;

/// -60 dBFS, or as many steps of coarse samples: what is quieter is no sound.
constexpr float leastSound = 0.001F;
constexpr float leastSteps = 4.0F;

int samplesIn(double seconds, double sampleRate)
{
    return static_cast<int>(std::lround(seconds * sampleRate));
}

} // namespace

void DropoutFinder::Side::add(float sample, float held, bool isNear)
{
    lowest = std::min(lowest, sample);
    highest = std::max(highest, sample);
    if (isNear)
        nearest = std::max(nearest, std::abs(sample - held));
}

DropoutFinder::DropoutFinder(double sampleRate)
    : leastRun(std::max(leastSamples, samplesIn(leastSeconds, sampleRate)))
    , reach(std::max(leastReach, samplesIn(reachSeconds, sampleRate)))
    , nearReach(std::max(leastNear, samplesIn(nearSeconds, sampleRate)))
    , past(static_cast<std::size_t>(reach + leastRun))
{
}

void DropoutFinder::add(const float* samples, int count)
{
    for (int n = 0; n < count; ++n)
        addOne(samples[n]);
}

void DropoutFinder::addOne(float sample)
{
    grain.add(sample);
    if (sample != value)
    {
        endRun();
        value = sample;
        length = 0;
    }
    past[oldest] = sample;
    oldest = oldest + 1 == past.size() ? 0 : oldest + 1;
    ++length;
    ++position;
    if (length == leastRun)
        lookBack();
    if (!candidates.empty())
        watch(sample);
}

/// The beginning of the run is the newest in the ring; the rest came before it.
void DropoutFinder::lookBack()
{
    before = {value, value, 0.0F};
    for (int i = 0; i < reach; ++i)
        before.add(past[(oldest + static_cast<std::size_t>(i)) % past.size()], value,
                   i >= reach - nearReach);
}

void DropoutFinder::endRun()
{
    if (length >= leastRun && isSound(before, value))
        candidates.push_back({position - length, length, value, before, {value, value, 0.0F}, 0});
}

void DropoutFinder::watch(float sample)
{
    for (Candidate& candidate : candidates)
    {
        candidate.after.add(sample, candidate.value, candidate.numAfter < nearReach);
        ++candidate.numAfter;
    }
    if (candidates.front().numAfter < reach)
        return;
    judge(candidates.front());
    candidates.erase(candidates.begin());
}

bool DropoutFinder::isSound(const Side& side, float held) const
{
    const float farthest = std::max(side.highest - held, held - side.lowest);
    return side.nearest > std::max(leastSound, leastSteps * grain.getStep()) &&
           side.nearest > nearShare * farthest;
}

void DropoutFinder::judge(const Candidate& candidate)
{
    const float highest = std::max(candidate.before.highest, candidate.after.highest);
    const float lowest = std::min(candidate.before.lowest, candidate.after.lowest);
    const bool isTop =
        candidate.value != 0.0F && (candidate.value >= highest || candidate.value <= lowest);
    if (isSound(candidate.after, candidate.value) && !isTop)
        dropouts.add(candidate.start, candidate.length);
}

Stretches DropoutFinder::finish()
{
    for (const Candidate& candidate : candidates)
        judge(candidate);
    candidates.clear();
    return dropouts;
}

} // namespace kalim::program
