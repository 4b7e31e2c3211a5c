#include "dsp/precise/WalkKernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/WalkKernel.cpp"
// The first of these must come first.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "dsp/precise/WalkFilter-inl.h"
// clang-format on

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

HWY_ATTR void getStatisticsKernel(const PackedLines& lines, const char* isSkipped,
                                  LineStatistics* statistics)
{
    const auto lanes = static_cast<int>(hn::Lanes(d));
    forEachVector(
        lines,
        [&](int first, std::size_t start) HWY_ATTR
        {
            Likelihood absent;
            Vector power = hn::Zero(d);
            Vector noise = hn::Zero(d);
            Vector above = hn::Zero(d);
            Vector weights = set(tiny);
            float count = tiny;
            for (int frame = 0; frame < lines.numFrames; ++frame)
            {
                const Reading reading(lines, start + indexOf(frame, PackedLines::width));
                const Vector here = reading.getPower();
                absent.add(frame, reading.noise,
                           hn::MulAdd(here, set(1.0F / noiseFreedom), reading.noise));
                if (isSkipped[frame] != 0)
                    continue;
                const Vector weight = hn::Div(set(1.0F), reading.noise);
                weights = hn::Add(weights, weight);
                above = hn::MulAdd(hn::Sub(here, reading.noise), weight, above);
                power = hn::Add(power, here);
                noise = hn::Add(noise, reading.noise);
                count += 1.0F;
            }
            HWY_ALIGN float sums[3][PackedLines::width];
            HWY_ALIGN double likelihoods[PackedLines::width] = {};
            hn::Store(hn::Div(above, weights), d, sums[0]);
            hn::Store(hn::Div(power, set(count)), d, sums[1]);
            hn::Store(hn::Div(noise, set(count)), d, sums[2]);
            absent.store(likelihoods);
            for (int i = 0; i < lanes; ++i)
                statistics[first + i] = {sums[0][i], sums[1][i], sums[2][i], likelihoods[i]};
        });
}

/// One size of the walk.
class Trial
{
public:
    HWY_INLINE Trial(Vector startVariance, const float* steps)
        : step(hn::LoadU(d, steps))
        , filter(startVariance)
    {
    }

    HWY_INLINE void skip(int frame, const Reading& reading, Vector absentTail)
    {
        filter.predict(step);
        likelihood.add(frame, reading.noise, absentTail);
    }

    HWY_INLINE void leap(Vector variance) { filter.predict(variance); }

    HWY_INLINE void take(int frame, const Reading& reading)
    {
        filter.predict(step);
        Vector total;
        Vector tail;
        filter.updateRobustly(reading, total, tail);
        likelihood.add(frame, total, tail);
    }

    HWY_INLINE void store(double* likelihoods) const { likelihood.store(likelihoods); }

private:
    Vector step;
    Filter filter;
    Likelihood likelihood;
};

/// Two sizes together, so that the processor has other work while one waits for its division.
HWY_ATTR void tryWalkSizes(const Walks& walks, const Series<float>* steps, int first,
                           std::size_t start, double* likelihoods)
{
    const Vector startVariance = hn::LoadU(d, &walks.startVariances[first]);
    const Vector jump = hn::LoadU(d, &walks.jumpVariances[first]);
    Trial a(startVariance, &steps[0][first]);
    Trial b(startVariance, &steps[1][first]);
    for (int frame = 0; frame < walks.lines.numFrames; ++frame)
    {
        const Reading reading(walks.lines, start + indexOf(frame, PackedLines::width));
        if (walks.isJump[frame] != 0)
        {
            a.leap(jump);
            b.leap(jump);
        }
        if (walks.isSkipped[frame] != 0)
        {
            const Vector tail =
                hn::MulAdd(reading.getPower(), set(1.0F / noiseFreedom), reading.noise);
            a.skip(frame, reading, tail);
            b.skip(frame, reading, tail);
        }
        else
        {
            a.take(frame, reading);
            b.take(frame, reading);
        }
    }
    a.store(likelihoods);
    b.store(likelihoods + PackedLines::width);
}

HWY_ATTR void getWalkLikelihoodsKernel(const Walks& walks, const Series<float>* steps,
                                       PerWalkSize* likelihoods)
{
    const auto lanes = static_cast<int>(hn::Lanes(d));
    forEachVector(walks.lines,
                  [&](int first, std::size_t start) HWY_ATTR
                  {
                      double found[numWalkSizes][PackedLines::width] = {};
                      for (std::size_t size = 0; size < numWalkSizes; size += 2)
                          tryWalkSizes(walks, steps + size, first, start, found[size]);
                      for (int lane = 0; lane < lanes; ++lane)
                          for (std::size_t size = 0; size < numWalkSizes; ++size)
                              likelihoods[first + lane][size] = found[size][lane];
                  });
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(getStatisticsKernel);
HWY_EXPORT(getWalkLikelihoodsKernel);

Series<LineStatistics> getStatistics(const PackedLines& lines, const Series<char>& isSkipped)
{
    Series<LineStatistics> statistics(static_cast<std::size_t>(lines.getNumLanes()));
    HWY_DYNAMIC_DISPATCH(getStatisticsKernel)(lines, isSkipped.data(), statistics.data());
    statistics.resize(static_cast<std::size_t>(lines.numLines));
    return statistics;
}

Series<PerWalkSize> getWalkLikelihoods(const Walks& walks,
                                       const std::array<Series<float>, numWalkSizes>& steps)
{
    Series<PerWalkSize> likelihoods(static_cast<std::size_t>(walks.lines.getNumLanes()));
    HWY_DYNAMIC_DISPATCH(getWalkLikelihoodsKernel)(walks, steps.data(), likelihoods.data());
    likelihoods.resize(static_cast<std::size_t>(walks.lines.numLines));
    return likelihoods;
}

} // namespace orvo::audio::precise

#endif
