#include "dsp/precise/TableKernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/TableKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::CappedTag<double, 8>;
using Floats = hn::CappedTag<float, 16>;
using Integers = hn::RebindToSigned<Floats>;
using Vector = hn::Vec<Floats>;

constexpr Doubles f64;
constexpr Floats f32;
constexpr Integers i32;

HWY_ATTR void getFractionsKernel(const std::array<double, 4>& c, double first, double step,
                                 int count, double* fractions)
{
    const auto get = [&](auto d, int i) HWY_ATTR
    {
        const auto t =
            hn::MulAdd(hn::Iota(d, static_cast<double>(i)), hn::Set(d, step), hn::Set(d, first));
        auto value = hn::MulAdd(t, hn::Set(d, c[3]), hn::Set(d, c[2]));
        value = hn::MulAdd(t, value, hn::Set(d, c[1]));
        value = hn::MulAdd(t, value, hn::Set(d, c[0]));
        hn::StoreU(hn::Sub(value, hn::Floor(value)), d, fractions + i);
    };
    int i = 0;
    for (const auto lanes = static_cast<int>(hn::Lanes(f64)); i + lanes <= count; i += lanes)
        get(f64, i);
    for (; i < count; ++i)
        get(hn::CappedTag<double, 1>(), i);
}

HWY_ATTR void addWaveKernel(float real, float imaginary, const float* cosines, const float* sines,
                            int count, float* values)
{
    const Vector a = hn::Set(f32, real);
    const Vector b = hn::Set(f32, imaginary);
    for (int i = 0; i < count; i += static_cast<int>(hn::Lanes(f32))) // tables are powers of two
    {
        const Vector sum = hn::MulAdd(a, hn::LoadU(f32, cosines + i), hn::LoadU(f32, values + i));
        hn::StoreU(hn::NegMulAdd(b, hn::LoadU(f32, sines + i), sum), f32, values + i);
    }
}

HWY_ATTR void findPlacesKernel(const double* phases, int size, TablePlaces& places)
{
    const hn::Rebind<std::int32_t, Doubles> whole;
    const hn::Rebind<float, Doubles> share;
    const auto scale = hn::Set(f64, static_cast<double>(size));
    for (std::size_t i = 0; i < tableChunk; i += hn::Lanes(f64))
    {
        const auto place = hn::Mul(hn::LoadU(f64, phases + i), scale);
        const auto point = hn::DemoteTo(whole, place);
        hn::StoreU(point, whole, &places.points[i]);
        hn::StoreU(hn::DemoteTo(share, hn::Sub(place, hn::PromoteTo(f64, point))), share,
                   &places.shares[i]);
    }
}

HWY_INLINE Vector readTable(const float* table, hn::Vec<Integers> point, Vector share)
{
    const Vector y0 = hn::GatherIndex(f32, table, point);
    const Vector y1 = hn::GatherIndex(f32, table + 1, point);
    const Vector y2 = hn::GatherIndex(f32, table + 2, point);
    const Vector y3 = hn::GatherIndex(f32, table + 3, point);
    // 2 y0 - 5 y1 + 4 y2 - y3 and 3 (y1 - y2) + y3 - y0
    const Vector cubic = hn::MulAdd(hn::Set(f32, 3.0F), hn::Sub(y1, y2), hn::Sub(y3, y0));
    const Vector square = hn::Sub(hn::Sub(hn::Add(y0, y2), hn::Add(y1, y1)), cubic);
    const Vector inner = hn::MulAdd(share, hn::MulAdd(share, cubic, square), hn::Sub(y2, y0));
    return hn::MulAdd(hn::Mul(share, hn::Set(f32, 0.5F)), inner, y1);
}

/// The weights of a vector of samples from the `i`th on.
HWY_INLINE Vector getWeights(std::size_t i, float weight, float weightStep)
{
    const Vector steps = hn::Iota(f32, static_cast<float>(i));
    const Vector wanted = hn::MulAdd(steps, hn::Set(f32, weightStep), hn::Set(f32, weight));
    return hn::Min(hn::Max(wanted, hn::Zero(f32)), hn::Set(f32, 1.0F));
}

HWY_ATTR void readTablesKernel(const float* now, const float* next, const TablePlaces& places,
                               float weight, float weightStep, float* result)
{
    for (std::size_t i = 0; i < tableChunk; i += hn::Lanes(f32))
    {
        const auto point = hn::LoadU(i32, &places.points[i]);
        const Vector share = hn::LoadU(f32, &places.shares[i]);
        const Vector held = getWeights(i, weight, weightStep);
        const Vector value = readTable(now, point, share);
        const Vector other = readTable(next, point, share);
        hn::StoreU(hn::MulAdd(held, hn::Sub(other, value), value), f32, result + i);
    }
}

HWY_ATTR void addHarmonicsKernel(const MovingAmplitudes& amplitudes,
                                 const SplitComplex<float>& waves, float weight, float weightStep,
                                 int count, float* result)
{
    const auto& now = amplitudes.now;
    const auto& step = amplitudes.step;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); i += hn::Lanes(f32))
    {
        Vector sum = hn::Zero(f32);
        Vector sumOfSteps = hn::Zero(f32);
        for (std::size_t h = 0; h < now.real.size(); ++h)
        {
            const Vector cosine = hn::LoadU(f32, &waves.real[h * tableChunk + i]);
            const Vector sine = hn::LoadU(f32, &waves.imaginary[h * tableChunk + i]);
            sum = hn::MulAdd(cosine, hn::Set(f32, now.real[h]), sum);
            sumOfSteps = hn::MulAdd(cosine, hn::Set(f32, step.real[h]), sumOfSteps);
            sum = hn::NegMulAdd(sine, hn::Set(f32, now.imaginary[h]), sum);
            sumOfSteps = hn::NegMulAdd(sine, hn::Set(f32, step.imaginary[h]), sumOfSteps);
        }
        const Vector held = getWeights(i, weight, weightStep);
        hn::StoreU(hn::MulAdd(held, sumOfSteps, sum), f32, result + i);
    }
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(getFractionsKernel);
HWY_EXPORT(addWaveKernel);
HWY_EXPORT(findPlacesKernel);
HWY_EXPORT(readTablesKernel);
HWY_EXPORT(addHarmonicsKernel);

void getFractions(const std::array<double, 4>& coefficients, double first, double step, int count,
                  double* fractions)
{
    HWY_DYNAMIC_DISPATCH(getFractionsKernel)(coefficients, first, step, count, fractions);
}

void addWave(float real, float imaginary, const float* cosines, const float* sines, int count,
             float* values)
{
    HWY_DYNAMIC_DISPATCH(addWaveKernel)(real, imaginary, cosines, sines, count, values);
}

void findPlaces(const std::array<double, tableChunk>& phases, int size, TablePlaces& places)
{
    HWY_DYNAMIC_DISPATCH(findPlacesKernel)(phases.data(), size, places);
}

void readTables(const float* now, const float* next, const TablePlaces& places, float weight,
                float weightStep, std::array<float, tableChunk>& result)
{
    HWY_DYNAMIC_DISPATCH(readTablesKernel)
    (now, next, places, weight, weightStep, result.data());
}

void addHarmonics(const MovingAmplitudes& amplitudes, const SplitComplex<float>& waves,
                  float weight, float weightStep, int count, std::array<float, tableChunk>& result)
{
    HWY_DYNAMIC_DISPATCH(addHarmonicsKernel)
    (amplitudes, waves, weight, weightStep, count, result.data());
}

} // namespace orvo::audio::precise

#endif
