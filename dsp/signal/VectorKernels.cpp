#include "dsp/signal/VectorKernels.h"

#include <cmath>
#include <numbers>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/signal/VectorKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::vo::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Doubles = hn::ScalableTag<double>;
using HalfFloats = hn::Rebind<float, Doubles>;

/// The portable fallback only imitates vectors, and limits what overflows a conversion; there,
/// plain loops are exact, and the compiler knows how to make vectors of them.
constexpr bool hasVectors = HWY_TARGET != HWY_EMU128;

/// Runs `vectorStep` on whole vectors and `scalarStep` on the samples left over.
template <typename Tag, typename VectorStep, typename ScalarStep>
HWY_INLINE void forAll(Tag tag, std::size_t n, const VectorStep& vectorStep,
                       const ScalarStep& scalarStep)
{
    const std::size_t lanes = hn::Lanes(tag);
    std::size_t i = 0;
    if constexpr (hasVectors)
        for (; i + lanes <= n; i += lanes)
            vectorStep(i);
    for (; i < n; ++i)
        scalarStep(i);
}

/// dst = operation(a, b), given for vectors and for single samples.
template <typename VectorOperation, typename ScalarOperation>
HWY_INLINE void combine(const float* a, const float* b, float* dst, std::size_t n,
                        const VectorOperation& onVectors, const ScalarOperation& onSamples)
{
    const Floats d;
    forAll(
        d, n,
        [&](std::size_t i)
        { hn::StoreU(onVectors(hn::LoadU(d, a + i), hn::LoadU(d, b + i)), d, dst + i); },
        [&](std::size_t i) { dst[i] = onSamples(a[i], b[i]); });
}

/// dst = operation(src)
template <typename VectorOperation, typename ScalarOperation>
HWY_INLINE void map(const float* src, float* dst, std::size_t n, const VectorOperation& onVectors,
                    const ScalarOperation& onSamples)
{
    const Floats d;
    forAll(
        d, n, [&](std::size_t i) { hn::StoreU(onVectors(hn::LoadU(d, src + i)), d, dst + i); },
        [&](std::size_t i) { dst[i] = onSamples(src[i]); });
}

void addKernel(const float* a, const float* b, float* dst, std::size_t n)
{
    combine(
        a, b, dst, n, [](auto x, auto y) { return hn::Add(x, y); },
        [](float x, float y) { return x + y; });
}

void subtractKernel(const float* a, const float* b, float* dst, std::size_t n)
{
    combine(
        a, b, dst, n, [](auto x, auto y) { return hn::Sub(y, x); },
        [](float x, float y) { return y - x; });
}

void multiplyKernel(const float* a, const float* b, float* dst, std::size_t n)
{
    combine(
        a, b, dst, n, [](auto x, auto y) { return hn::Mul(x, y); },
        [](float x, float y) { return x * y; });
}

void constantMultiplyKernel(const float* src, float c, float* dst, std::size_t n)
{
    const auto factor = hn::Set(Floats(), c);
    map(
        src, dst, n, [=](auto x) { return hn::Mul(x, factor); }, [=](float x) { return x * c; });
}

void upperBoundKernel(const float* src, float* dst, float bound, std::size_t n)
{
    const auto limit = hn::Set(Floats(), bound);
    map(
        src, dst, n, [=](auto x) { return hn::IfThenElse(hn::Gt(x, limit), limit, x); },
        [=](float x) { return x > bound ? bound : x; });
}

void lowerBoundKernel(const float* src, float* dst, float bound, std::size_t n)
{
    const auto limit = hn::Set(Floats(), bound);
    map(
        src, dst, n, [=](auto x) { return hn::IfThenElse(hn::Lt(x, limit), limit, x); },
        [=](float x) { return x < bound ? bound : x; });
}

void convert32To64Kernel(const float* src, double* dst, std::size_t n)
{
    const Doubles d;
    const HalfFloats f;
    forAll(
        d, n,
        [=](std::size_t i) { hn::StoreU(hn::PromoteTo(d, hn::LoadU(f, src + i)), d, dst + i); },
        [=](std::size_t i) { dst[i] = static_cast<double>(src[i]); });
}

void convert64To32Kernel(const double* src, float* dst, std::size_t n)
{
    const Doubles d;
    const HalfFloats f;
    forAll(
        d, n,
        [=](std::size_t i) { hn::StoreU(hn::DemoteTo(f, hn::LoadU(d, src + i)), f, dst + i); },
        [=](std::size_t i) { dst[i] = static_cast<float>(src[i]); });
}

/// dst = operation(re, im) for interleaved complex numbers, in double. So neither large nor small
/// components leave the range when they are squared, and results are the nearest floats.
template <typename VectorOperation, typename ScalarOperation>
HWY_INLINE void mapComplex(const float* interleaved, float* dst, std::size_t n,
                           const VectorOperation& onVectors, const ScalarOperation& onNumbers)
{
    const Floats d;
    const Doubles wide;
    const HalfFloats half;
    HWY_ALIGN float re[hn::MaxLanes(Floats())];
    HWY_ALIGN float im[hn::MaxLanes(Floats())];
    const std::size_t step = hn::Lanes(wide);
    const auto wideAt = [=](const float* x) { return hn::PromoteTo(wide, hn::LoadU(half, x)); };
    forAll(
        d, n,
        [&](std::size_t i)
        {
            hn::Vec<Floats> real;
            hn::Vec<Floats> imaginary;
            hn::LoadInterleaved2(d, interleaved + 2 * i, real, imaginary);
            hn::Store(real, d, re);
            hn::Store(imaginary, d, im);
            for (std::size_t k = 0; k < hn::Lanes(d); k += step)
                hn::StoreU(hn::DemoteTo(half, onVectors(wideAt(re + k), wideAt(im + k))), half,
                           dst + i + k);
        },
        [&](std::size_t i)
        {
            dst[i] = static_cast<float>(onNumbers(static_cast<double>(interleaved[2 * i]),
                                                  static_cast<double>(interleaved[2 * i + 1])));
        });
}

void calcMagnitudesKernel(const float* interleaved, float* dst, std::size_t n)
{
    mapComplex(
        interleaved, dst, n,
        [](auto x, auto y) { return hn::Sqrt(hn::MulAdd(x, x, hn::Mul(y, y))); },
        [](double x, double y) { return std::sqrt(x * x + y * y); });
}

/// The sum of coefficients[i] x^(n - 1 - i).
template <std::size_t n>
HWY_INLINE hn::Vec<Doubles> polynomial(hn::Vec<Doubles> x, const double (&coefficients)[n])
{
    const Doubles d;
    auto sum = hn::Set(d, coefficients[0]);
    for (std::size_t i = 1; i < n; ++i)
        sum = hn::MulAdd(sum, x, hn::Set(d, coefficients[i]));
    return sum;
}

/// The arc tangent of |x| <= 0.66, to two units of the last place of a double.
/// (S. L. Moshier, "Methods and Programs for Mathematical Functions", 1989.)
HWY_INLINE hn::Vec<Doubles> smallArcTangent(hn::Vec<Doubles> x)
{
    constexpr double numerator[] = {-8.750608600031904122785e-1, -1.615753718733365076637e1,
                                    -7.500855792314704667340e1, -1.228866684490136173410e2,
                                    -6.485021904942025371773e1};
    constexpr double denominator[] = {1.0,
                                      2.485846490142306297962e1,
                                      1.650270098316988542046e2,
                                      4.328810604912902668951e2,
                                      4.853903996359136964868e2,
                                      1.945506571482613964425e2};
    const auto square = hn::Mul(x, x);
    const auto quotient =
        hn::Div(hn::Mul(square, polynomial(square, numerator)), polynomial(square, denominator));
    return hn::MulAdd(x, quotient, x);
}

/// As std::atan2, with its signs of zero; NaN gives NaN.
HWY_INLINE hn::Vec<Doubles> arcTangent(hn::Vec<Doubles> y, hn::Vec<Doubles> x)
{
    const Doubles d;
    const auto zero = hn::Zero(d);
    const auto one = hn::Set(d, 1.0);
    const auto pi = hn::Set(d, std::numbers::pi);
    const auto width = hn::Abs(x);
    const auto height = hn::Abs(y);
    const auto isSteep = hn::Gt(height, width);
    const auto longer = hn::IfThenElse(isSteep, height, width);
    const auto shorter = hn::IfThenElse(isSteep, width, height);

    // Towards the diagonal, what is left to it: atan(a) = pi/4 + atan((a - 1) / (a + 1)). Two equal
    // sides must not be divided, as they may be zeros or infinite.
    const auto isZero = hn::Eq(longer, zero);
    const auto isNearDiagonal =
        hn::AndNot(isZero, hn::Ge(shorter, hn::Mul(longer, hn::Set(d, 0.66))));
    const auto isOnDiagonal = hn::Eq(shorter, longer);
    const auto over = hn::IfThenElse(isNearDiagonal, hn::Sub(shorter, longer), shorter);
    const auto under = hn::IfThenElse(isNearDiagonal, hn::Add(shorter, longer), longer);
    const auto ratio =
        hn::Div(hn::IfThenElse(isOnDiagonal, zero, over), hn::IfThenElse(isOnDiagonal, one, under));
    const auto offset = hn::IfThenElseZero(isNearDiagonal, hn::Set(d, std::numbers::pi / 4));
    const auto octant = hn::Add(offset, smallArcTangent(ratio));

    const auto quadrant =
        hn::IfThenElse(isSteep, hn::Sub(hn::Set(d, std::numbers::pi / 2), octant), octant);
    const auto half =
        hn::IfThenElse(hn::Lt(hn::CopySignToAbs(one, x), zero), hn::Sub(pi, quadrant), quadrant);
    const auto isNumber = hn::And(hn::Eq(x, x), hn::Eq(y, y));
    return hn::IfThenElse(isNumber, hn::CopySignToAbs(half, y), hn::Add(x, y));
}

void calcPhasesKernel(const float* interleaved, float* dst, std::size_t n)
{
    mapComplex(
        interleaved, dst, n, [](auto x, auto y) { return arcTangent(y, x); },
        [](double x, double y) { return std::atan2(y, x); });
}

bool isWithinKernel(const float* src, float limit, std::size_t n)
{
    const Floats d;
    const auto bound = hn::Set(d, limit);
    auto allWithin = hn::Le(hn::Zero(d), bound);
    bool restWithin = true;
    // A comparison with NaN is false, so one test covers it and the infinities.
    forAll(
        d, n,
        [&](std::size_t i)
        { allWithin = hn::And(allWithin, hn::Le(hn::Abs(hn::LoadU(d, src + i)), bound)); },
        [&](std::size_t i) { restWithin = restWithin && std::fabs(src[i]) <= limit; });
    return restWithin && hn::AllTrue(d, allWithin);
}

void limitToFiniteKernel(const float* src, float* dst, float limit, std::size_t n)
{
    const auto upper = hn::Set(Floats(), limit);
    const auto lower = hn::Set(Floats(), -limit);
    map(
        src, dst, n,
        [=](auto x)
        { return hn::IfThenElseZero(hn::IsFinite(x), hn::Max(lower, hn::Min(upper, x))); },
        [=](float x)
        {
            const float limited = x > limit ? limit : x < -limit ? -limit : x;
            return std::isfinite(x) ? limited : 0.0F;
        });
}

} // namespace orvo::vo::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::vo
{

HWY_EXPORT(addKernel);
HWY_EXPORT(subtractKernel);
HWY_EXPORT(multiplyKernel);
HWY_EXPORT(constantMultiplyKernel);
HWY_EXPORT(upperBoundKernel);
HWY_EXPORT(lowerBoundKernel);
HWY_EXPORT(convert32To64Kernel);
HWY_EXPORT(convert64To32Kernel);
HWY_EXPORT(calcMagnitudesKernel);
HWY_EXPORT(calcPhasesKernel);
HWY_EXPORT(isWithinKernel);
HWY_EXPORT(limitToFiniteKernel);

const char* chooseInstructionSet()
{
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    const std::int64_t supported = hwy::SupportedTargets() & HWY_TARGETS;
    return hwy::TargetName(supported & -supported);
}

namespace kernels
{

void add(const float* a, const float* b, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(addKernel)(a, b, dst, n);
}

void subtract(const float* a, const float* b, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(subtractKernel)(a, b, dst, n);
}

void multiply(const float* a, const float* b, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(multiplyKernel)(a, b, dst, n);
}

void constantMultiply(const float* src, float c, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(constantMultiplyKernel)(src, c, dst, n);
}

void upperBound(const float* src, float* dst, float bound, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(upperBoundKernel)(src, dst, bound, n);
}

void lowerBound(const float* src, float* dst, float bound, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(lowerBoundKernel)(src, dst, bound, n);
}

void convert32To64(const float* src, double* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(convert32To64Kernel)(src, dst, n);
}

void convert64To32(const double* src, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(convert64To32Kernel)(src, dst, n);
}

void calcMagnitudes(const float* interleaved, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(calcMagnitudesKernel)(interleaved, dst, n);
}

void calcPhases(const float* interleaved, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(calcPhasesKernel)(interleaved, dst, n);
}

bool isWithin(const float* src, float limit, std::size_t n)
{
    return HWY_DYNAMIC_DISPATCH(isWithinKernel)(src, limit, n);
}

void limitToFinite(const float* src, float* dst, float limit, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(limitToFiniteKernel)(src, dst, limit, n);
}

} // namespace kernels
} // namespace orvo::vo

#endif
