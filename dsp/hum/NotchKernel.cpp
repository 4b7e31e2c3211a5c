#include "dsp/hum/NotchKernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/hum/NotchKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::kernels::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::ScalableTag<double>;
using Floats = hn::Rebind<float, Doubles>;
using DoubleVector = hn::Vec<Doubles>;
using FloatVector = hn::Vec<Floats>;

constexpr std::size_t lanes = hn::MaxLanes(Doubles());

/// Channels that run side by side, so that the processor has other work while one of them waits for
/// the rounding between its stages.
constexpr std::size_t channelsTogether = 2;

/// A cascade in which every stage has to wait for the one before it leaves a processor idle. Here
/// stage k works on sample t - k at step t, so all stages of a step are independent: a wave front
/// that runs through samples and stages at once.
template <std::size_t numVectors, std::size_t numChannels>
class Wavefront
{
public:
    static constexpr std::size_t numStages = numVectors * lanes;

    using Samples = std::array<float, numChannels>;

    HWY_INLINE Wavefront(const NotchGroup& stages, const std::array<NotchState*, numChannels>& from)
        : states(from)
    {
        for (std::size_t v = 0; v < numVectors; ++v)
        {
            b0[v] = hn::Load(d, stages.b0.data() + v * lanes);
            a1[v] = hn::Load(d, stages.a1.data() + v * lanes);
            a2[v] = hn::Load(d, stages.a2.data() + v * lanes);
        }
        for (std::size_t c = 0; c < numChannels; ++c)
            for (std::size_t v = 0; v < numVectors; ++v)
            {
                s1[c][v] = hn::Load(d, states[c]->s1.data() + v * lanes);
                s2[c][v] = hn::Load(d, states[c]->s2.data() + v * lanes);
                passedOn[c][v] = hn::Zero(f);
            }
    }

    /// One step with all stages at work. Returns the outputs of the last one.
    HWY_INLINE Samples step(const Samples& samples)
    {
        shiftIn(samples);
        for (std::size_t v = 0; v < numVectors; ++v)
            notch(v, [](DoubleVector, DoubleVector updated) { return updated; });
        return rotate();
    }

    /// A step at either end, where only stages `first` to below `last` have a sample to work on.
    HWY_INLINE Samples step(const Samples& samples, double first, double last)
    {
        shiftIn(samples);
        for (std::size_t v = 0; v < numVectors; ++v)
        {
            const DoubleVector stage = hn::Iota(d, static_cast<double>(v * lanes));
            const auto isAtWork =
                hn::And(hn::Ge(stage, hn::Set(d, first)), hn::Lt(stage, hn::Set(d, last)));
            notch(v, [isAtWork](DoubleVector old, DoubleVector updated)
                  { return hn::IfThenElse(isAtWork, updated, old); });
        }
        return rotate();
    }

    HWY_INLINE void store() const
    {
        for (std::size_t c = 0; c < numChannels; ++c)
            for (std::size_t v = 0; v < numVectors; ++v)
            {
                hn::Store(s1[c][v], d, states[c]->s1.data() + v * lanes);
                hn::Store(s2[c][v], d, states[c]->s2.data() + v * lanes);
            }
    }

private:
    template <typename Select>
    HWY_INLINE void notch(std::size_t v, const Select& select)
    {
        for (std::size_t c = 0; c < numChannels; ++c)
        {
            const DoubleVector scaled = hn::Mul(b0[v], hn::PromoteTo(d, inputs[c][v]));
            const DoubleVector y = hn::Add(scaled, s1[c][v]);
            s1[c][v] = select(s1[c][v], hn::NegMulAdd(a1[v], y, s2[c][v]));
            s2[c][v] = select(s2[c][v], hn::NegMulSub(a2[v], y, scaled));
            passedOn[c][v] = hn::Sub(inputs[c][v], hn::DemoteTo(f, y));
        }
    }

    /// Every stage takes what the one before it passed on; the first takes a new sample.
    HWY_INLINE void shiftIn(const Samples& samples)
    {
        const auto isFirstLane = hn::FirstN(f, 1);
        for (std::size_t c = 0; c < numChannels; ++c)
        {
            inputs[c][0] = hn::IfThenElse(isFirstLane, hn::Set(f, samples[c]), passedOn[c][0]);
            for (std::size_t v = 1; v < numVectors; ++v)
                inputs[c][v] = hn::IfThenElse(isFirstLane, passedOn[c][v - 1], passedOn[c][v]);
        }
    }

    /// Moves every lane one up, the last to the first, and returns what came out of the last stage.
    HWY_INLINE Samples rotate()
    {
        Samples outputs;
        for (std::size_t c = 0; c < numChannels; ++c)
        {
            for (std::size_t v = 0; v < numVectors; ++v)
                passedOn[c][v] = hn::TableLookupLanes(passedOn[c][v], oneUp);
            outputs[c] = hn::GetLane(passedOn[c][numVectors - 1]);
        }
        return outputs;
    }

    static HWY_INLINE auto makeRotation()
    {
        HWY_ALIGN int indices[lanes];
        for (std::size_t lane = 0; lane < lanes; ++lane)
            indices[lane] = static_cast<int>((lane + lanes - 1) % lanes);
        return hn::SetTableIndices(Floats(), indices);
    }

    const Doubles d{};
    const Floats f{};
    const std::array<NotchState*, numChannels> states;
    decltype(makeRotation()) oneUp = makeRotation();
    DoubleVector b0[numVectors];
    DoubleVector a1[numVectors];
    DoubleVector a2[numVectors];
    DoubleVector s1[numChannels][numVectors];
    DoubleVector s2[numChannels][numVectors];
    FloatVector inputs[numChannels][numVectors];
    FloatVector passedOn[numChannels][numVectors];
};

/// Neighbouring channels and their part of one group.
template <std::size_t numChannels>
struct GroupRun
{
    const NotchGroup& group;
    std::array<NotchState*, numChannels> states;
    std::array<float*, numChannels> samples;
    std::size_t numSamples;
};

template <std::size_t numVectors, std::size_t numChannels>
void runGroup(const GroupRun<numChannels>& run)
{
    using Front = Wavefront<numVectors, numChannels>;
    using Samples = typename Front::Samples;
    constexpr std::size_t delay = Front::numStages - 1;
    Front wavefront(run.group, run.states);
    const auto read = [&](std::size_t t)
    {
        Samples samples;
        for (std::size_t c = 0; c < numChannels; ++c)
            samples[c] = run.samples[c][t];
        return samples;
    };
    const auto write = [&](std::size_t t, const Samples& samples)
    {
        for (std::size_t c = 0; c < numChannels; ++c)
            run.samples[c][t] = samples[c];
    };
    const auto rampStep = [&](std::size_t t)
    {
        const bool hasSample = t < run.numSamples;
        const double first = hasSample ? 0.0 : static_cast<double>(t - run.numSamples + 1);
        const Samples outputs =
            wavefront.step(hasSample ? read(t) : Samples{}, first, static_cast<double>(t + 1));
        if (t >= delay)
            write(t - delay, outputs);
    };
    std::size_t t = 0;
    for (; t < delay; ++t)
        rampStep(t);
    for (; t < run.numSamples; ++t)
        write(t - delay, wavefront.step(read(t)));
    for (; t < run.numSamples + delay; ++t)
        rampStep(t);
    wavefront.store();
}

/// With the fewest vectors that hold the stages in use.
template <std::size_t numVectors, std::size_t numChannels>
void runFitting(const GroupRun<numChannels>& run)
{
    if constexpr (numVectors > 1)
    {
        if (run.group.numStages <= (numVectors - 1) * lanes)
        {
            runFitting<numVectors - 1>(run);
            return;
        }
    }
    runGroup<numVectors>(run);
}

template <std::size_t numChannels>
void runChannels(const NotchGroup* groups, std::size_t numGroups, const NotchChannel* channels,
                 std::size_t numSamples)
{
    for (std::size_t i = 0; i < numGroups; ++i)
    {
        GroupRun<numChannels> run{groups[i], {}, {}, numSamples};
        for (std::size_t c = 0; c < numChannels; ++c)
        {
            run.states[c] = channels[c].states + i;
            run.samples[c] = channels[c].samples;
        }
        runFitting<stagesPerGroup / lanes>(run);
    }
}

void runNotchesKernel(const NotchGroup* groups, std::size_t numGroups, const NotchChannel* channels,
                      std::size_t numChannels, std::size_t numSamples)
{
    std::size_t channel = 0;
    for (; channel + channelsTogether <= numChannels; channel += channelsTogether)
        runChannels<channelsTogether>(groups, numGroups, channels + channel, numSamples);
    for (; channel < numChannels; ++channel)
        runChannels<1>(groups, numGroups, channels + channel, numSamples);
}

} // namespace orvo::audio::kernels::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::kernels
{

HWY_EXPORT(runNotchesKernel);

void runNotches(std::span<const NotchGroup> groups, std::span<const NotchChannel> channels,
                std::size_t numSamples)
{
    HWY_DYNAMIC_DISPATCH(runNotchesKernel)
    (groups.data(), groups.size(), channels.data(), channels.size(), numSamples);
}

} // namespace orvo::audio::kernels

#endif
