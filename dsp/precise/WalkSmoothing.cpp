#include "dsp/precise/WalkKernel.h"

#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/WalkSmoothing.cpp"
// The first of these must come first.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "dsp/precise/WalkFilter-inl.h"
// clang-format on

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

/// Estimates of as many lines as a vector holds, over all frames, side by side.
class Track
{
public:
    explicit Track(int numFrames)
        : values(indexOf(numFrames, 3 * static_cast<int>(hn::Lanes(d))))
    {
    }

    HWY_INLINE void set(int frame, const Filter& filter)
    {
        float* const at = &values[indexOf(frame, 3 * lanes)];
        hn::StoreU(filter.real, d, at);
        hn::StoreU(filter.imaginary, d, at + lanes);
        hn::StoreU(filter.variance, d, at + 2 * lanes);
    }

    HWY_INLINE Filter get(int frame) const
    {
        const float* const at = &values[indexOf(frame, 3 * lanes)];
        return {hn::LoadU(d, at + 2 * lanes), hn::LoadU(d, at), hn::LoadU(d, at + lanes)};
    }

private:
    const int lanes = static_cast<int>(hn::Lanes(d));
    Series<float> values;
};

/// One pass from `from` to `to` (without), either way; a jump lies before its frame, which is after
/// it when time runs backward.
HWY_ATTR void followRobustly(const Walks& walks, const float* steps, int first, std::size_t start,
                             bool isForward, Track& track)
{
    const Vector step = hn::LoadU(d, steps + first);
    const Vector jump = hn::LoadU(d, &walks.jumpVariances[first]);
    const int count = walks.lines.numFrames;
    Filter filter(hn::LoadU(d, &walks.startVariances[first]));
    for (int i = 0; i < count; ++i)
    {
        const int frame = isForward ? i : count - 1 - i;
        const int change = isForward ? frame : frame + 1;
        filter.predict(step);
        if (change < count && walks.isJump[change] != 0)
            filter.predict(jump);
        if (walks.isSkipped[frame] == 0)
        {
            Vector total;
            Vector tail;
            filter.updateRobustly(Reading(walks.lines, start + indexOf(frame, PackedLines::width)),
                                  total, tail);
        }
        track.set(frame, filter);
    }
}

HWY_ATTR void getDisagreementsKernel(const Walks& walks, const float* steps, const float* weights,
                                     float most, double* sums)
{
    const int count = walks.lines.numFrames;
    Track before(count);
    Track after(count);
    forEachVector(walks.lines,
                  [&](int first, std::size_t start) HWY_ATTR
                  {
                      followRobustly(walks, steps, first, start, true, before);
                      followRobustly(walks, steps, first, start, false, after);
                      const Vector weight = hn::LoadU(d, weights + first);
                      const Vector moved = hn::MulAdd(set(3.0F), hn::LoadU(d, steps + first),
                                                      set(tiny)); // in three frames
                      for (int frame = 2; frame + 1 < count; ++frame)
                      {
                          const Filter a = before.get(frame - 2);
                          const Filter b = after.get(frame + 1);
                          const Vector x = hn::Sub(a.real, b.real);
                          const Vector y = hn::Sub(a.imaginary, b.imaginary);
                          const Vector expected = hn::Add(hn::Add(a.variance, b.variance), moved);
                          const Vector ratio = hn::Div(hn::MulAdd(x, x, hn::Mul(y, y)), expected);
                          const Vector sum = hn::Mul(hn::Min(ratio, set(most)), weight);
                          sums[frame] += static_cast<double>(hn::GetLane(hn::SumOfLanes(d, sum)));
                      }
                  });
}

/// The forward pass, with the noise of `noise` [frame][lane of this vector].
HWY_ATTR void filterForward(const Walks& walks, const float* steps, int first, std::size_t start,
                            const float* noise, Track& track)
{
    const Vector step = hn::LoadU(d, steps + first);
    const Vector jump = hn::LoadU(d, &walks.jumpVariances[first]);
    Filter filter(hn::LoadU(d, &walks.startVariances[first]));
    for (int frame = 0; frame < walks.lines.numFrames; ++frame)
    {
        filter.predict(step);
        if (walks.isJump[frame] != 0)
            filter.predict(jump);
        if (walks.isSkipped[frame] == 0)
        {
            Reading reading(walks.lines, start + indexOf(frame, PackedLines::width));
            reading.noise = hn::LoadU(d, noise + frame * static_cast<int>(hn::Lanes(d)));
            filter.update(reading, set(1.0F));
        }
        track.set(frame, filter);
    }
}

/// The backward pass; leaves the noise that the errors speak for.
HWY_ATTR void smoothBackward(const Walks& walks, const float* steps, int first, std::size_t start,
                             Track& track, float* noise)
{
    const Vector step = hn::LoadU(d, steps + first);
    const Vector jump = hn::LoadU(d, &walks.jumpVariances[first]);
    const int last = walks.lines.numFrames - 1;
    Filter next = track.get(last);
    for (int frame = last; frame >= 0; --frame)
    {
        if (frame < last)
        {
            Filter here = track.get(frame);
            Vector predicted = hn::Add(here.variance, step);
            if (walks.isJump[frame + 1] != 0)
                predicted = hn::Add(predicted, jump);
            const Vector gain = hn::Div(here.variance, hn::Max(predicted, set(tiny)));
            here.real = hn::MulAdd(gain, hn::Sub(next.real, here.real), here.real);
            here.imaginary =
                hn::MulAdd(gain, hn::Sub(next.imaginary, here.imaginary), here.imaginary);
            here.variance =
                hn::MulAdd(hn::Mul(gain, gain), hn::Sub(next.variance, predicted), here.variance);
            track.set(frame, here);
            next = here;
        }
        const Reading reading(walks.lines, start + indexOf(frame, PackedLines::width));
        const Vector error = reading.getDistance(next.real, next.imaginary);
        const Vector spoken = hn::Mul(hn::MulAdd(reading.noise, set(noiseFreedom), error),
                                      set(1.0F / (noiseFreedom + 1.0F)));
        hn::StoreU(hn::Max(spoken, hn::Mul(reading.noise, set(smallestNoiseShare))), d,
                   noise + frame * static_cast<int>(hn::Lanes(d)));
    }
}

HWY_ATTR void storeEstimates(const PackedLines& lines, const char* isLeftOut, int first,
                             std::size_t start, const Track& track, WalkEstimates& estimates)
{
    Logarithms absent;
    Logarithms present;
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const std::size_t at = start + indexOf(frame, PackedLines::width);
        const Filter here = track.get(frame);
        if (!estimates.real.empty()) // more than the evidence is asked for
        {
            hn::StoreU(here.real, d, &estimates.real[at]);
            hn::StoreU(here.imaginary, d, &estimates.imaginary[at]);
            hn::StoreU(here.variance, d, &estimates.variances[at]);
        }
        if (isLeftOut[frame] != 0)
            continue;
        const Reading reading(lines, at);
        const Vector freedom = hn::Mul(reading.noise, set(noiseFreedom));
        absent.add(hn::Add(reading.getPower(), freedom));
        present.add(hn::Add(reading.getDistance(here.real, here.imaginary), freedom));
        absent.setExponentsAside();
        present.setExponentsAside();
    }
    HWY_ALIGN double evidence[PackedLines::width] = {};
    absent.store(3.0, evidence);
    present.store(-3.0, evidence);
    for (int lane = 0; lane < static_cast<int>(hn::Lanes(d)); ++lane)
        estimates.evidence[first + lane] = evidence[lane];
}

HWY_ATTR void smoothWalksKernel(const Walks& walks, const float* steps, const char* isLeftOut,
                                WalkEstimates& estimates)
{
    const PackedLines& lines = walks.lines;
    const auto lanes = static_cast<int>(hn::Lanes(d));
    Track track(lines.numFrames);
    Series<float> noise(indexOf(lines.numFrames, lanes));
    forEachVector(lines,
                  [&](int first, std::size_t start) HWY_ATTR
                  {
                      followRobustly(walks, steps, first, start, true, track);
                      smoothBackward(walks, steps, first, start, track, noise.data());
                      for (int round = 1; round < reweightings; ++round)
                      {
                          filterForward(walks, steps, first, start, noise.data(), track);
                          smoothBackward(walks, steps, first, start, track, noise.data());
                      }
                      storeEstimates(lines, isLeftOut, first, start, track, estimates);
                  });
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(getDisagreementsKernel);
HWY_EXPORT(smoothWalksKernel);

WalkEstimates smoothWalks(const Walks& walks, const Series<float>& steps,
                          const Series<char>& isLeftOut)
{
    const std::size_t count = walks.lines.noise.size();
    WalkEstimates estimates{Series<float>(count), Series<float>(count), Series<float>(count),
                            Series<double>(static_cast<std::size_t>(walks.lines.getNumLanes()))};
    HWY_DYNAMIC_DISPATCH(smoothWalksKernel)(walks, steps.data(), isLeftOut.data(), estimates);
    estimates.evidence.resize(static_cast<std::size_t>(walks.lines.numLines));
    return estimates;
}

Series<double> getWalkEvidence(const Walks& walks, const Series<float>& steps,
                               const Series<char>& isLeftOut)
{
    WalkEstimates estimates{
        {}, {}, {}, Series<double>(static_cast<std::size_t>(walks.lines.getNumLanes()))};
    HWY_DYNAMIC_DISPATCH(smoothWalksKernel)(walks, steps.data(), isLeftOut.data(), estimates);
    estimates.evidence.resize(static_cast<std::size_t>(walks.lines.numLines));
    return std::move(estimates.evidence);
}

Series<double> getDisagreements(const Walks& walks, const Series<float>& steps,
                                const Series<float>& weights, float most)
{
    Series<double> sums(static_cast<std::size_t>(walks.lines.numFrames));
    HWY_DYNAMIC_DISPATCH(getDisagreementsKernel)
    (walks, steps.data(), weights.data(), most, sums.data());
    return sums;
}

} // namespace orvo::audio::precise

#endif
