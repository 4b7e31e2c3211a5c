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

/// A cascade in which every stage has to wait for the one before it leaves a processor idle. Here
/// stage k works on sample t - k at step t, so all stages of a step are independent: a wave front
/// that runs through samples and stages at once.
template <std::size_t numVectors>
class Wavefront
{
public:
    static constexpr std::size_t numStages = numVectors * lanes;

    explicit HWY_INLINE Wavefront(NotchBlock& stages)
        : block(stages)
    {
        for (std::size_t v = 0; v < numVectors; ++v)
        {
            b0[v] = hn::Load(d, block.b0.data() + v * lanes);
            a1[v] = hn::Load(d, block.a1.data() + v * lanes);
            a2[v] = hn::Load(d, block.a2.data() + v * lanes);
            s1[v] = hn::Load(d, block.s1.data() + v * lanes);
            s2[v] = hn::Load(d, block.s2.data() + v * lanes);
            passedOn[v] = hn::Zero(f);
        }
    }

    /// One step with all stages at work. Returns the output of the last one.
    HWY_INLINE float step(float sample)
    {
        shiftIn(sample);
        for (std::size_t v = 0; v < numVectors; ++v)
            passedOn[v] = notch(v, [](DoubleVector, DoubleVector updated) { return updated; });
        return rotate();
    }

    /// A step at either end, where only stages `first` to below `last` have a sample to work on.
    HWY_INLINE float step(float sample, double first, double last)
    {
        shiftIn(sample);
        for (std::size_t v = 0; v < numVectors; ++v)
        {
            const DoubleVector stage = hn::Iota(d, static_cast<double>(v * lanes));
            const auto isAtWork =
                hn::And(hn::Ge(stage, hn::Set(d, first)), hn::Lt(stage, hn::Set(d, last)));
            passedOn[v] = notch(v, [isAtWork](DoubleVector old, DoubleVector updated)
                                { return hn::IfThenElse(isAtWork, updated, old); });
        }
        return rotate();
    }

    HWY_INLINE void store() const
    {
        for (std::size_t v = 0; v < numVectors; ++v)
        {
            hn::Store(s1[v], d, block.s1.data() + v * lanes);
            hn::Store(s2[v], d, block.s2.data() + v * lanes);
        }
    }

private:
    template <typename Select>
    HWY_INLINE FloatVector notch(std::size_t v, const Select& select)
    {
        const DoubleVector scaled = hn::Mul(b0[v], hn::PromoteTo(d, inputs[v]));
        const DoubleVector y = hn::Add(scaled, s1[v]);
        s1[v] = select(s1[v], hn::NegMulAdd(a1[v], y, s2[v]));
        s2[v] = select(s2[v], hn::NegMulSub(a2[v], y, scaled));
        return hn::Sub(inputs[v], hn::DemoteTo(f, y));
    }

    /// Every stage takes what the one before it passed on; the first takes a new sample.
    HWY_INLINE void shiftIn(float sample)
    {
        const auto isFirstLane = hn::FirstN(f, 1);
        inputs[0] = hn::IfThenElse(isFirstLane, hn::Set(f, sample), passedOn[0]);
        for (std::size_t v = 1; v < numVectors; ++v)
            inputs[v] = hn::IfThenElse(isFirstLane, passedOn[v - 1], passedOn[v]);
    }

    /// Moves every lane one up, the last to the first, and returns what came out of the last stage.
    HWY_INLINE float rotate()
    {
        for (std::size_t v = 0; v < numVectors; ++v)
            passedOn[v] = hn::TableLookupLanes(passedOn[v], oneUp);
        return hn::GetLane(passedOn[numVectors - 1]);
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
    NotchBlock& block;
    decltype(makeRotation()) oneUp = makeRotation();
    DoubleVector b0[numVectors];
    DoubleVector a1[numVectors];
    DoubleVector a2[numVectors];
    DoubleVector s1[numVectors];
    DoubleVector s2[numVectors];
    FloatVector inputs[numVectors];
    FloatVector passedOn[numVectors];
};

template <std::size_t numVectors>
void runBlock(NotchBlock& block, float* samples, std::size_t numSamples)
{
    constexpr std::size_t delay = Wavefront<numVectors>::numStages - 1;
    Wavefront<numVectors> wavefront(block);
    const auto rampStep = [&](std::size_t t)
    {
        const float sample = t < numSamples ? samples[t] : 0.0F;
        const double first = t < numSamples ? 0.0 : static_cast<double>(t - numSamples + 1);
        const float output = wavefront.step(sample, first, static_cast<double>(t + 1));
        if (t >= delay)
            samples[t - delay] = output;
    };
    std::size_t t = 0;
    for (; t < delay; ++t)
        rampStep(t);
    for (; t < numSamples; ++t)
        samples[t - delay] = wavefront.step(samples[t]);
    for (; t < numSamples + delay; ++t)
        rampStep(t);
    wavefront.store();
}

/// With the fewest vectors that hold the stages in use.
template <std::size_t numVectors>
void runFitting(NotchBlock& block, float* samples, std::size_t numSamples)
{
    if constexpr (numVectors > 1)
    {
        if (block.numStages <= (numVectors - 1) * lanes)
        {
            runFitting<numVectors - 1>(block, samples, numSamples);
            return;
        }
    }
    runBlock<numVectors>(block, samples, numSamples);
}

void runNotchesKernel(NotchBlock* blocks, std::size_t numBlocks, float* samples,
                      std::size_t numSamples)
{
    for (std::size_t i = 0; i < numBlocks; ++i)
        runFitting<stagesPerBlock / lanes>(blocks[i], samples, numSamples);
}

} // namespace orvo::audio::kernels::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::kernels
{

HWY_EXPORT(runNotchesKernel);

void runNotches(std::span<NotchBlock> blocks, std::span<float> samples)
{
    HWY_DYNAMIC_DISPATCH(runNotchesKernel)
    (blocks.data(), blocks.size(), samples.data(), samples.size());
}

} // namespace orvo::audio::kernels

#endif
