#include "dsp/precise/GridKernels.h"

#include <array>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/GridKernels.cpp"
// The first of these must come first.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include <hwy/contrib/math/math-inl.h>
// clang-format on

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Doubles = hn::ScalableTag<double>;

/// Calls `step` with the tag of whole vectors and then of single values, and their first indices.
template <typename Tag, typename Step>
HWY_INLINE void forEach(Tag whole, int count, const Step& step)
{
    const auto lanes = static_cast<int>(hn::Lanes(whole));
    int i = 0;
    for (; i + lanes <= count; i += lanes)
        step(whole, i);
    for (; i < count; ++i)
        step(hn::CappedTag<hn::TFromD<Tag>, 1>(), i);
}

HWY_ATTR void multiplyInPlaceKernel(float* real, float* imaginary, const float* otherReal,
                                    const float* otherImaginary, int count)
{
    forEach(Floats(), count,
            [=](auto d, int i) HWY_ATTR
            {
                const auto a = hn::LoadU(d, real + i);
                const auto b = hn::LoadU(d, imaginary + i);
                const auto x = hn::LoadU(d, otherReal + i);
                const auto y = hn::LoadU(d, otherImaginary + i);
                hn::StoreU(hn::NegMulAdd(b, y, hn::Mul(a, x)), d, real + i);
                hn::StoreU(hn::MulAdd(a, y, hn::Mul(b, x)), d, imaginary + i);
            });
}

template <int numWindows>
HWY_ATTR void addScoresOf(const TurnedReadings& turned, int numReadings, int count, float* scores)
{
    const float* const a = turned.readings.real.data();
    const float* const b = turned.readings.imaginary.data();
    const float* const cosines = &turned.turns.real[turned.first];
    const float* const sines = &turned.turns.imaginary[turned.first];
    const auto perMost = static_cast<float>(1.0 / turned.most);
    forEach(Floats(), count,
            [&](auto d, int i) HWY_ATTR
            {
                hn::Vec<decltype(d)> real[numWindows];
                hn::Vec<decltype(d)> imaginary[numWindows];
                for (int w = 0; w < numWindows; ++w)
                    real[w] = imaginary[w] = hn::Zero(d);
                for (int k = 0; k < numReadings; ++k)
                {
                    const auto c = hn::LoadU(d, cosines + k * count + i);
                    const auto s = hn::LoadU(d, sines + k * count + i);
                    for (int w = 0; w < numWindows; ++w)
                    {
                        const auto x = hn::Set(d, a[w * numReadings + k]);
                        const auto y = hn::Set(d, b[w * numReadings + k]);
                        real[w] = hn::NegMulAdd(y, s, hn::MulAdd(x, c, real[w]));
                        imaginary[w] = hn::MulAdd(y, c, hn::MulAdd(x, s, imaginary[w]));
                    }
                }
                for (int w = 0; w < numWindows; ++w)
                {
                    float* const score = scores + w * count + i;
                    const auto scale =
                        static_cast<float>(1.0 / turned.weights[static_cast<std::size_t>(w)]);
                    const auto power =
                        hn::MulAdd(real[w], real[w], hn::Mul(imaginary[w], imaginary[w]));
                    const auto clear = hn::Mul(power, hn::Set(d, scale));
                    const auto limited =
                        hn::Div(clear, hn::MulAdd(clear, hn::Set(d, perMost), hn::Set(d, 1.0F)));
                    hn::StoreU(hn::Add(hn::LoadU(d, score), limited), d, score);
                }
            });
}

HWY_ATTR void addScoresKernel(const TurnedReadings& turned, bool isGroup, int numReadings,
                              int count, float* scores)
{
    if (isGroup)
        addScoresOf<TurnedReadings::group>(turned, numReadings, count, scores);
    else
        addScoresOf<1>(turned, numReadings, count, scores);
}

template <typename Tag>
HWY_INLINE void storeAsFloats(Tag /*tag*/, hn::Vec<Tag> values, float* result)
{
    const hn::Rebind<float, Tag> floats;
    hn::StoreU(hn::DemoteTo(floats, values), floats, result);
}

HWY_ATTR void findOriginsKernel(const Series<double>& gains, double cost, Series<double>& best,
                                float* origins)
{
    forEach(Doubles(), static_cast<int>(best.size()),
            [&](auto d, int i) HWY_ATTR
            {
                const auto here = hn::Iota(d, static_cast<double>(i));
                auto most = hn::Set(d, -1e300);
                auto origin = hn::Zero(d);
                for (std::size_t from = 0; from < gains.size(); ++from)
                {
                    const auto place = hn::Set(d, static_cast<double>(from));
                    const auto steps = hn::Sub(here, place);
                    const auto gain = hn::NegMulAdd(hn::Mul(steps, steps), hn::Set(d, cost),
                                                    hn::Set(d, gains[from]));
                    const auto isMore = hn::Gt(gain, most);
                    most = hn::IfThenElse(isMore, gain, most);
                    origin = hn::IfThenElse(isMore, place, origin);
                }
                hn::StoreU(most, d, &best[i]);
                storeAsFloats(d, origin, origins + i);
            });
}

HWY_ATTR void findPhaseOriginsKernel(const double* gains, int count, const PhaseOrigins& from,
                                     double* best, float* origins)
{
    const PhaseOrigins o = from;
    forEach(Doubles(), count,
            [=](auto d, int i) HWY_ATTR
            {
                auto origin = hn::Iota(d, static_cast<double>(i));
                auto most = hn::LoadU(d, gains + i + 1);
                const auto consider = [&](auto gain, auto place) HWY_ATTR
                {
                    const auto isMore = hn::Gt(gain, most);
                    most = hn::IfThenElse(isMore, gain, most);
                    origin = hn::IfThenElse(isMore, place, origin);
                };
                const auto drift = hn::Set(d, o.drift);
                const auto one = hn::Set(d, 1.0);
                const auto last = hn::Set(d, count - 1.0);
                const auto above = hn::IfThenZeroElse(hn::Eq(origin, last), hn::Add(origin, one));
                const auto below =
                    hn::IfThenElse(hn::Eq(origin, hn::Zero(d)), last, hn::Sub(origin, one));
                consider(hn::Set(d, gains[o.top + 1] - o.leap),
                         hn::Set(d, static_cast<double>(o.top)));
                consider(hn::Set(d, o.gainOutside), hn::Set(d, static_cast<double>(o.outside)));
                consider(hn::Sub(hn::LoadU(d, gains + i + 2), drift), above);
                consider(hn::Sub(hn::LoadU(d, gains + i), drift), below);
                hn::StoreU(most, d, best + i);
                storeAsFloats(d, origin, origins + i);
            });
}

HWY_ATTR void measureStepKernel(const FrameLines& lines, const float* turnReal,
                                const float* turnImaginary, float leastShare, float* sums)
{
    const hn::CappedTag<float, FrameLines::group> d;
    auto turn = hn::Zero(d);
    auto turnInformation = hn::Zero(d);
    auto growth = hn::Zero(d);
    auto growthInformation = hn::Zero(d);
    for (int i = 0; i < lines.count; i += static_cast<int>(hn::Lanes(d)))
    {
        const auto c = hn::LoadU(d, turnReal + i);
        const auto s = hn::LoadU(d, turnImaginary + i);
        const auto a = hn::LoadU(d, lines.expectedReal + i);
        const auto b = hn::LoadU(d, lines.expectedImaginary + i);
        const auto x = hn::LoadU(d, lines.real + i);
        const auto y = hn::LoadU(d, lines.imaginary + i);
        const auto u = hn::NegMulAdd(b, s, hn::Mul(a, c));
        const auto v = hn::MulAdd(b, c, hn::Mul(a, s));
        const auto power = hn::MulAdd(u, u, hn::Mul(v, v));
        const auto p = hn::Sub(x, u);
        const auto q = hn::Sub(y, v);
        const auto error = hn::MulAdd(p, p, hn::Mul(q, q));
        const auto read = hn::LoadU(d, lines.noise + i);
        const auto heavy = hn::Mul(hn::MulAdd(read, hn::Set(d, 2.0F), error), hn::Set(d, 1.0F / 3));
        const auto noise = hn::Max(hn::Max(read, heavy), hn::Mul(power, hn::Set(d, leastShare)));
        const auto weight = hn::Div(hn::Set(d, 1.0F), noise);
        const auto harmonic = hn::Mul(hn::LoadU(d, lines.harmonics + i), weight);
        // The gradients, without what cancels: the error turned by the expected value.
        const auto across = hn::NegMulAdd(p, v, hn::Mul(q, u));
        const auto along = hn::MulAdd(p, u, hn::Mul(q, v));
        turn = hn::MulAdd(harmonic, across, turn);
        turnInformation = hn::MulAdd(hn::Mul(harmonic, hn::LoadU(d, lines.harmonics + i)), power,
                                     turnInformation);
        growth = hn::MulAdd(weight, along, growth);
        growthInformation = hn::MulAdd(weight, power, growthInformation);
    }
    sums[0] = hn::GetLane(hn::SumOfLanes(d, turn));
    sums[1] = hn::GetLane(hn::SumOfLanes(d, turnInformation));
    sums[2] = hn::GetLane(hn::SumOfLanes(d, growth));
    sums[3] = hn::GetLane(hn::SumOfLanes(d, growthInformation));
}

HWY_ATTR void multiplyErrorsKernel(Complex value, const double* real, const double* imaginary,
                                   int count, double scale, double* products)
{
    forEach(Doubles(), count,
            [=](auto d, int i) HWY_ATTR
            {
                const auto x = hn::Sub(hn::Set(d, value.real()), hn::LoadU(d, real + i));
                const auto y = hn::Sub(hn::Set(d, value.imag()), hn::LoadU(d, imaginary + i));
                const auto power = hn::MulAdd(x, x, hn::Mul(y, y));
                const auto factor = hn::MulAdd(power, hn::Set(d, scale), hn::Set(d, 1.0));
                hn::StoreU(hn::Mul(hn::LoadU(d, products + i), factor), d, products + i);
            });
}

HWY_ATTR void multiplyGainErrorsKernel(const GainEvidence& evidence, const double* gains, int count,
                                       double* products)
{
    const GainEvidence e = evidence;
    forEach(Doubles(), count,
            [=](auto d, int i) HWY_ATTR
            {
                const auto gain = hn::LoadU(d, gains + i);
                const auto scaled = hn::Mul(gain, hn::Set(d, e.expectedPower));
                const auto less = hn::Sub(scaled, hn::Set(d, 2.0 * e.likeness));
                const auto error =
                    hn::Max(hn::MulAdd(gain, less, hn::Set(d, e.power)), hn::Zero(d));
                const auto noise = hn::MulAdd(hn::Mul(gain, scaled), hn::Set(d, e.patternError),
                                              hn::Set(d, e.noise));
                const auto factor = hn::Add(hn::Set(d, 1.0), hn::Div(error, noise));
                hn::StoreU(hn::Mul(hn::LoadU(d, products + i), factor), d, products + i);
            });
}

HWY_ATTR void collectLogarithmsKernel(double factor, int count, double* products, double* scores)
{
    forEach(Doubles(), count,
            [=](auto d, int i) HWY_ATTR
            {
                const auto logarithm = hn::Log(d, hn::LoadU(d, products + i));
                const auto score = hn::LoadU(d, scores + i);
                hn::StoreU(hn::NegMulAdd(hn::Set(d, factor), logarithm, score), d, scores + i);
                hn::StoreU(hn::Set(d, 1.0), d, products + i);
            });
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(multiplyInPlaceKernel);
HWY_EXPORT(addScoresKernel);
HWY_EXPORT(findOriginsKernel);
HWY_EXPORT(findPhaseOriginsKernel);
HWY_EXPORT(measureStepKernel);
HWY_EXPORT(multiplyErrorsKernel);
HWY_EXPORT(multiplyGainErrorsKernel);
HWY_EXPORT(collectLogarithmsKernel);

void multiplyInPlace(SplitComplex<float>& values, const SplitComplex<float>& factors)
{
    HWY_DYNAMIC_DISPATCH(multiplyInPlaceKernel)
    (values.real.data(), values.imaginary.data(), factors.real.data(), factors.imaginary.data(),
     static_cast<int>(values.real.size()));
}

void addScores(const TurnedReadings& turned, bool isGroup, int numReadings, int count,
               float* scores)
{
    HWY_DYNAMIC_DISPATCH(addScoresKernel)(turned, isGroup, numReadings, count, scores);
}

void findOrigins(const Series<double>& gains, double cost, Series<double>& best, float* origins)
{
    HWY_DYNAMIC_DISPATCH(findOriginsKernel)(gains, cost, best, origins);
}

void findPhaseOrigins(const double* gains, int count, const PhaseOrigins& from, double* best,
                      float* origins)
{
    HWY_DYNAMIC_DISPATCH(findPhaseOriginsKernel)(gains, count, from, best, origins);
}

MotionStep measureStep(const FrameLines& lines, const SplitComplex<float>& turns, float leastShare)
{
    std::array<float, 4> sums{};
    HWY_DYNAMIC_DISPATCH(measureStepKernel)
    (lines, turns.real.data(), turns.imaginary.data(), leastShare, sums.data());
    return {sums[0], sums[1], sums[2], sums[3]};
}

void multiplyErrors(Complex value, const SplitComplex<double>& expected, std::size_t first,
                    int count, double scale, double* products)
{
    HWY_DYNAMIC_DISPATCH(multiplyErrorsKernel)
    (value, &expected.real[first], &expected.imaginary[first], count, scale, products);
}

void multiplyGainErrors(const GainEvidence& evidence, const double* gains, int count,
                        double* products)
{
    HWY_DYNAMIC_DISPATCH(multiplyGainErrorsKernel)(evidence, gains, count, products);
}

void collectLogarithms(double factor, int count, double* products, double* scores)
{
    HWY_DYNAMIC_DISPATCH(collectLogarithmsKernel)(factor, count, products, scores);
}

} // namespace orvo::audio::precise

#endif
