#include "dsp/precise/GridKernels.h"

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

HWY_ATTR void addTurnedKernel(float a, float b, const float* turnReal, const float* turnImaginary,
                              int count, float* real, float* imaginary)
{
    forEach(Floats(), count,
            [=](auto d, int i) HWY_ATTR
            {
                const auto c = hn::LoadU(d, turnReal + i);
                const auto s = hn::LoadU(d, turnImaginary + i);
                const auto x = hn::Set(d, a);
                const auto y = hn::Set(d, b);
                const auto sum = hn::MulAdd(x, c, hn::LoadU(d, real + i));
                hn::StoreU(hn::NegMulAdd(y, s, sum), d, real + i);
                const auto other = hn::MulAdd(x, s, hn::LoadU(d, imaginary + i));
                hn::StoreU(hn::MulAdd(y, c, other), d, imaginary + i);
            });
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

HWY_EXPORT(addTurnedKernel);
HWY_EXPORT(multiplyErrorsKernel);
HWY_EXPORT(multiplyGainErrorsKernel);
HWY_EXPORT(collectLogarithmsKernel);

void addTurned(Complex value, const SplitComplex<float>& turns, std::size_t first, int count,
               SplitComplex<float>& sums)
{
    HWY_DYNAMIC_DISPATCH(addTurnedKernel)
    (static_cast<float>(value.real()), static_cast<float>(value.imag()), &turns.real[first],
     &turns.imaginary[first], count, sums.real.data(), sums.imaginary.data());
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
