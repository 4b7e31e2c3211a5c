#include "dsp/precise/RowKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/RowKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::ScalableTag<double>;

template <typename Tag>
HWY_INLINE hn::Vec<Tag> sumAt(Tag d, const WeightedRows& rows, int i)
{
    auto sum = hn::Zero(d);
    for (int row = 0; row < rows.numRows; ++row)
        sum =
            hn::Add(sum, hn::Mul(hn::LoadU(d, rows.rows[row] + i), hn::Set(d, rows.weights[row])));
    return sum;
}

HWY_ATTR void sumRowsKernel(const WeightedRows& rows, double divisor, int count, double* sums)
{
    const Doubles whole;
    const hn::CappedTag<double, 1> single;
    const auto lanes = static_cast<int>(hn::Lanes(whole));
    int i = 0;
    for (; i + lanes <= count; i += lanes)
        hn::StoreU(hn::Div(sumAt(whole, rows, i), hn::Set(whole, divisor)), whole, sums + i);
    for (; i < count; ++i)
        hn::StoreU(hn::Div(sumAt(single, rows, i), hn::Set(single, divisor)), single, sums + i);
}

/// Square of what lies between a sum of rows and values.
template <typename Tag>
HWY_INLINE hn::Vec<Tag> getSquare(Tag d, const WeightedRows& rows, const double* values, int i)
{
    const auto difference = hn::Sub(hn::LoadU(d, values + i), sumAt(d, rows, i));
    return hn::Mul(difference, difference);
}

HWY_ATTR void getDistancesKernel(const WeightedRows& rows, const double* values, int count,
                                 double* powers)
{
    const Doubles whole;
    const hn::CappedTag<double, 1> single;
    const auto lanes = static_cast<int>(hn::Lanes(whole));
    int i = 0;
    for (; i + lanes <= count; i += lanes)
    {
        const auto first = getSquare(whole, rows, values, 2 * i);
        const auto second = getSquare(whole, rows, values, 2 * i + lanes);
        const auto real = hn::ConcatEven(whole, second, first);
        const auto imaginary = hn::ConcatOdd(whole, second, first);
        hn::StoreU(hn::Add(real, imaginary), whole, powers + i);
    }
    for (; i < count; ++i)
        hn::StoreU(hn::Add(getSquare(single, rows, values, 2 * i),
                           getSquare(single, rows, values, 2 * i + 1)),
                   single, powers + i);
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(sumRowsKernel);
HWY_EXPORT(getDistancesKernel);

void sumRows(const WeightedRows& rows, double divisor, int count, double* sums)
{
    HWY_DYNAMIC_DISPATCH(sumRowsKernel)(rows, divisor, count, sums);
}

void getDistances(const WeightedRows& rows, const Complex* values, int count, double* powers)
{
    // The standard lays the parts of complex values side by side.
    HWY_DYNAMIC_DISPATCH(getDistancesKernel)
    (rows, reinterpret_cast<const double*>(values), count, powers);
}

} // namespace orvo::audio::precise

#endif
