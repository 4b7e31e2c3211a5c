#include "dsp/hum/TrackerKernels.h"

#include <algorithm>
#include <cmath>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/hum/TrackerKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::kernels::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Doubles = hn::ScalableTag<double>;
using HalfFloats = hn::Rebind<float, Doubles>;
using FloatVector = hn::Vec<Floats>;
using DoubleVector = hn::Vec<Doubles>;

constexpr std::size_t doubleLanes = hn::MaxLanes(Doubles());
constexpr std::size_t floatLanes = hn::MaxLanes(Floats());
constexpr std::size_t vectorsPerGroup = lanesPerGroup / doubleLanes;

/// Groups run together, so that the processor has other work while one recursion waits for itself.
/// With narrow vectors one group is several vectors already, and more would not fit the registers.
constexpr std::size_t groupsTogether = vectorsPerGroup == 1 ? 3 : 1;

/// Calls `step` with 0 .. count - 1 as constants: an array of vectors stays in registers only where
/// the compiler knows every index from the start.
template <std::size_t count, typename Step>
HWY_INLINE void unrolled(const Step& step)
{
    [&]<std::size_t... index>(std::index_sequence<index...>)
    {
        (step(std::integral_constant<std::size_t, index>()), ...);
    }
    (std::make_index_sequence<count>());
}

/// The lanes of `numGroups` groups as vectors in registers.
template <std::size_t numGroups>
class Recursion
{
public:
    static constexpr std::size_t numVectors = numGroups * vectorsPerGroup;

    explicit HWY_INLINE Recursion(TrackerGroup* firstGroup)
        : groups(firstGroup)
    {
        unrolled<numVectors>(
            [&](auto v)
            {
                b0[v] = load(&TrackerGroup::b0, v);
                a1[v] = load(&TrackerGroup::a1, v);
                a2[v] = load(&TrackerGroup::a2, v);
                s1[v] = load(&TrackerGroup::s1, v);
                s2[v] = load(&TrackerGroup::s2, v);
                coefficient[v] = load(&TrackerGroup::coefficient, v);
                w1[v] = hn::Zero(d);
                w2[v] = hn::Zero(d);
            });
    }

    HWY_INLINE void isolate(double sample)
    {
        const DoubleVector x = hn::Set(d, sample);
        unrolled<numVectors>([&](auto v) { static_cast<void>(bandPass(x, v)); });
    }

    HWY_INLINE void isolateAndTransform(double sample)
    {
        const DoubleVector x = hn::Set(d, sample);
        unrolled<numVectors>([&](auto v) { transform(roundToFloat(bandPass(x, v)), v); });
    }

    /// As above, but lanes whose transform has ended by sample `n` get zeros.
    HWY_INLINE void isolateAndTransformMasked(double sample, std::size_t n)
    {
        const DoubleVector x = hn::Set(d, sample);
        const DoubleVector now = hn::Set(d, static_cast<double>(n));
        unrolled<numVectors>(
            [&](auto v)
            {
                const auto isCovered = hn::Lt(now, load(&TrackerGroup::transformLength, v));
                transform(hn::IfThenElseZero(isCovered, roundToFloat(bandPass(x, v))), v);
            });
    }

    HWY_INLINE void store() const
    {
        unrolled<numVectors>(
            [&](auto v)
            {
                store(s1[v], &TrackerGroup::s1, v);
                store(s2[v], &TrackerGroup::s2, v);
                store(w1[v], &TrackerGroup::w1, v);
                store(w2[v], &TrackerGroup::w2, v);
            });
    }

private:
    using Member = TrackerGroup::Lanes TrackerGroup::*;

    HWY_INLINE double* address(Member member, std::size_t v) const
    {
        return (groups[v / vectorsPerGroup].*member).data() + v % vectorsPerGroup * doubleLanes;
    }

    HWY_INLINE DoubleVector load(Member member, std::size_t v) const
    {
        return hn::Load(d, address(member, v));
    }

    HWY_INLINE void store(DoubleVector value, Member member, std::size_t v) const
    {
        hn::Store(value, d, address(member, v));
    }

    HWY_INLINE DoubleVector bandPass(DoubleVector x, std::size_t v)
    {
        const DoubleVector scaled = hn::Mul(b0[v], x);
        const DoubleVector y = hn::Add(scaled, s1[v]);
        s1[v] = hn::NegMulAdd(a1[v], y, s2[v]);
        s2[v] = hn::NegMulSub(a2[v], y, scaled);
        return y;
    }

    HWY_INLINE DoubleVector roundToFloat(DoubleVector y) const
    {
        return hn::PromoteTo(d, hn::DemoteTo(HalfFloats(), y));
    }

    HWY_INLINE void transform(DoubleVector y, std::size_t v)
    {
        const DoubleVector w0 = hn::MulAdd(coefficient[v], w1[v], hn::Sub(y, w2[v]));
        w2[v] = w1[v];
        w1[v] = w0;
    }

    const Doubles d{};
    TrackerGroup* const groups;
    DoubleVector b0[numVectors];
    DoubleVector a1[numVectors];
    DoubleVector a2[numVectors];
    DoubleVector s1[numVectors];
    DoubleVector s2[numVectors];
    DoubleVector coefficient[numVectors];
    DoubleVector w1[numVectors];
    DoubleVector w2[numVectors];
};

/// Samples that all transforms of the groups cover.
HWY_INLINE std::size_t commonLength(const TrackerGroup* groups, std::size_t numGroups,
                                    std::size_t numSamples)
{
    double shortest = static_cast<double>(numSamples);
    for (std::size_t group = 0; group < numGroups; ++group)
        for (const double length : groups[group].transformLength)
            shortest = std::min(shortest, length);
    return static_cast<std::size_t>(shortest);
}

template <std::size_t numGroups>
void transformTogether(TrackerGroup* groups, const double* input, std::size_t numSamples)
{
    const std::size_t numCommon = commonLength(groups, numGroups, numSamples);
    Recursion<numGroups> recursion(groups);
    for (std::size_t n = 0; n < numCommon; ++n)
        recursion.isolateAndTransform(input[n]);
    for (std::size_t n = numCommon; n < numSamples; ++n)
        recursion.isolateAndTransformMasked(input[n], n);
    recursion.store();
}

template <std::size_t numGroups>
void isolateTogether(TrackerGroup* groups, const double* input, std::size_t numSamples)
{
    Recursion<numGroups> recursion(groups);
    for (std::size_t n = 0; n < numSamples; ++n)
        recursion.isolate(input[n]);
    recursion.store();
}

void isolateAndTransformKernel(TrackerGroup* groups, std::size_t numGroups, const double* input,
                               std::size_t numSamples)
{
    std::size_t group = 0;
    for (; group + groupsTogether <= numGroups; group += groupsTogether)
        transformTogether<groupsTogether>(groups + group, input, numSamples);
    for (; group < numGroups; ++group)
        transformTogether<1>(groups + group, input, numSamples);
}

void isolateKernel(TrackerGroup* groups, std::size_t numGroups, const double* input,
                   std::size_t numSamples)
{
    std::size_t group = 0;
    for (; group + groupsTogether <= numGroups; group += groupsTogether)
        isolateTogether<groupsTogether>(groups + group, input, numSamples);
    for (; group < numGroups; ++group)
        isolateTogether<1>(groups + group, input, numSamples);
}

/// A cosine with a vector of doubles per step: cos(n + k) = 2 cos(k) cos(n) - cos(n - k). The
/// rounding of a whole frame stays far below single precision.
class CosineRecurrence
{
public:
    /// Written out, since the compiler would make its own outside of the instruction set.
    HWY_INLINE CosineRecurrence() {}

    HWY_INLINE void start(double startPhase, double phaseStep)
    {
        // From one vector before the first sample on: exp(i phase) times powers of exp(i step).
        HWY_ALIGN double cosines[doubleLanes];
        HWY_ALIGN double sines[doubleLanes];
        const Point step = pointAt(phaseStep);
        Point turn{1.0, 0.0};
        for (std::size_t lane = 0; lane < doubleLanes; ++lane)
        {
            cosines[lane] = turn.cosine;
            sines[lane] = turn.sine;
            turn = Point{turn.cosine * step.cosine - turn.sine * step.sine,
                         turn.cosine * step.sine + turn.sine * step.cosine};
        }
        const Point first = pointAt(startPhase);
        const Point before{first.cosine * turn.cosine + first.sine * turn.sine,
                           first.sine * turn.cosine - first.cosine * turn.sine};
        const DoubleVector cosine = hn::Load(d, cosines);
        const DoubleVector sine = hn::Load(d, sines);
        previous = cosineOfSum(before, cosine, sine);
        current = cosineOfSum(first, cosine, sine);
        factor = hn::Set(d, 2.0 * std::cos(phaseStep * static_cast<double>(doubleLanes)));
    }

    /// The present samples, rounded to float; moves on to the next.
    HWY_INLINE FloatVector next()
    {
        const HalfFloats half;
        const auto low = hn::DemoteTo(half, current);
        advance();
        const auto high = hn::DemoteTo(half, current);
        advance();
        return hn::Combine(Floats(), high, low);
    }

private:
    /// On the unit circle.
    struct Point
    {
        double cosine;
        double sine;
    };

    static HWY_INLINE Point pointAt(double phase) { return {std::cos(phase), std::sin(phase)}; }

    HWY_INLINE DoubleVector cosineOfSum(Point point, DoubleVector cosine, DoubleVector sine) const
    {
        return hn::NegMulAdd(hn::Set(d, point.sine), sine,
                             hn::Mul(hn::Set(d, point.cosine), cosine));
    }

    HWY_INLINE void advance()
    {
        const DoubleVector following = hn::MulSub(factor, current, previous);
        previous = current;
        current = following;
    }

    const Doubles d{};
    DoubleVector previous;
    DoubleVector current;
    DoubleVector factor;
};

/// Some oscillations in step.
template <std::size_t count>
class Oscillators
{
public:
    explicit HWY_INLINE Oscillators(const SinusoidalSynthesis::Oscillation* oscillations)
    {
        unrolled<count>(
            [&](auto i)
            {
                cosines[i].start(oscillations[i].startPhase, oscillations[i].phaseStep);
                startAmplitude[i] = hn::Set(d, oscillations[i].startAmplitude);
                amplitudeChange[i] = hn::Set(d, oscillations[i].amplitudeChange);
            });
    }

    /// Subtracts the present vector of all oscillations, and moves on to the next.
    HWY_INLINE FloatVector subtractFrom(FloatVector samples, FloatVector fade)
    {
        unrolled<count>(
            [&](auto i)
            {
                const auto envelope = hn::MulAdd(amplitudeChange[i], fade, startAmplitude[i]);
                samples = hn::Sub(samples, hn::Mul(cosines[i].next(), envelope));
            });
        return samples;
    }

private:
    const Floats d{};
    CosineRecurrence cosines[count];
    FloatVector startAmplitude[count];
    FloatVector amplitudeChange[count];
};

template <std::size_t count>
void subtractTogether(const SinusoidalSynthesis::Oscillation* oscillations, const float* crossfade,
                      float* output, std::size_t numSamples)
{
    const Floats d;
    Oscillators<count> oscillators(oscillations);
    std::size_t n = 0;
    for (; n + floatLanes <= numSamples; n += floatLanes)
        hn::StoreU(oscillators.subtractFrom(hn::LoadU(d, output + n), hn::LoadU(d, crossfade + n)),
                   d, output + n);
    if (n < numSamples)
    {
        HWY_ALIGN float samples[floatLanes] = {};
        HWY_ALIGN float fade[floatLanes] = {};
        std::copy(output + n, output + numSamples, samples);
        std::copy(crossfade + n, crossfade + numSamples, fade);
        hn::Store(oscillators.subtractFrom(hn::Load(d, samples), hn::Load(d, fade)), d, samples);
        std::copy_n(samples, numSamples - n, output + n);
    }
}

void subtractOscillationsKernel(const SinusoidalSynthesis::Oscillation* oscillations,
                                std::size_t count, const float* crossfade, float* output,
                                std::size_t numSamples)
{
    constexpr std::size_t together = 4;
    std::size_t i = 0;
    for (; i + together <= count; i += together)
        subtractTogether<together>(oscillations + i, crossfade, output, numSamples);
    for (; i < count; ++i)
        subtractTogether<1>(oscillations + i, crossfade, output, numSamples);
}

} // namespace orvo::audio::kernels::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::kernels
{

HWY_EXPORT(isolateAndTransformKernel);
HWY_EXPORT(isolateKernel);
HWY_EXPORT(subtractOscillationsKernel);

void isolateAndTransform(std::span<TrackerGroup> groups, const double* input,
                         std::size_t numSamples)
{
    HWY_DYNAMIC_DISPATCH(isolateAndTransformKernel)
    (groups.data(), groups.size(), input, numSamples);
}

void isolate(std::span<TrackerGroup> groups, const double* input, std::size_t numSamples)
{
    HWY_DYNAMIC_DISPATCH(isolateKernel)(groups.data(), groups.size(), input, numSamples);
}

void subtractOscillations(std::span<const SinusoidalSynthesis::Oscillation> oscillations,
                          const float* crossfade, float* output, std::size_t numSamples)
{
    HWY_DYNAMIC_DISPATCH(subtractOscillationsKernel)
    (oscillations.data(), oscillations.size(), crossfade, output, numSamples);
}

} // namespace orvo::audio::kernels

#endif
