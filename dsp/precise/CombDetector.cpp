#include "dsp/precise/CombDetector.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <utility>

#ifndef KALIM_COMB
#define KALIM_COMB

namespace orvo::audio::precise
{

/// Power of a spectrum, the sums of it before each bin, and where a bin is compared with what lies
/// beside it.
struct CombSpectrum
{
    const double* power;
    const double* sums;
    std::size_t numBins;
    std::size_t near; // bins from a tooth
    std::size_t far;
    double mostPerHarmonic;
};

/// Combs whose fundamentals are `step` Hz apart, over bins that are `resolution` Hz apart.
struct Combs
{
    double lowest;
    double step;
    double resolution;
    int numHarmonics;
};

} // namespace orvo::audio::precise

#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/CombDetector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// Calls `step` with the tag of whole vectors and then of single values, and their first indices.
template <typename Step>
HWY_INLINE void forEach(std::size_t from, std::size_t to, const Step& step)
{
    const hn::ScalableTag<double> whole;
    std::size_t i = from;
    for (; i + hn::Lanes(whole) <= to; i += hn::Lanes(whole))
        step(whole, i);
    for (; i < to; ++i)
        step(hn::CappedTag<double, 1>(), i);
}

/// The power of each bin and its neighbours over that beside it, from 1 to a limit; 1 at the ends.
HWY_ATTR void getRatiosKernel(const CombSpectrum& spectrum, double* ratios)
{
    const auto& s = spectrum;
    std::fill_n(ratios, s.far, 1.0);
    std::fill_n(ratios + s.numBins - s.far, s.far, 1.0);
    const auto width = static_cast<double>(s.far - s.near);
    forEach(s.far, s.numBins - s.far,
            [&](auto d, std::size_t bin) HWY_ATTR
            {
                const auto at = [&](const double* values) HWY_ATTR
                { return hn::LoadU(d, values + bin); };
                const auto below = hn::Sub(at(s.sums - s.near), at(s.sums - s.far));
                const auto above = hn::Sub(at(s.sums + s.far), at(s.sums + s.near));
                const auto beside = hn::Div(hn::Max(below, above), hn::Set(d, width));
                const auto peak = hn::Max(at(s.power), hn::Max(at(s.power - 1), at(s.power + 1)));
                const auto ratio = hn::Max(hn::Div(peak, beside), hn::Set(d, 1.0));
                hn::StoreU(hn::Min(ratio, hn::Set(d, s.mostPerHarmonic)), d, ratios + bin);
            });
}

/// The product of the ratios at the teeth of each comb.
HWY_ATTR void getProductsKernel(const Combs& combs, const Series<double>& ratios,
                                Series<double>& products)
{
    const auto last = static_cast<std::int64_t>(ratios.size()) - 1;
    forEach(0, products.size(),
            [&](auto d, std::size_t i) HWY_ATTR
            {
                const hn::Rebind<std::int64_t, decltype(d)> i64;
                const auto index = hn::Iota(d, static_cast<double>(i));
                const auto fundamental =
                    hn::Add(hn::Set(d, combs.lowest), hn::Mul(index, hn::Set(d, combs.step)));
                const auto bins = hn::Div(fundamental, hn::Set(d, combs.resolution));
                auto product = hn::Set(d, 1.0);
                for (int harmonic = 1; harmonic <= combs.numHarmonics; ++harmonic)
                {
                    const auto place = hn::Mul(bins, hn::Set(d, static_cast<double>(harmonic)));
                    const auto bin = hn::ConvertTo(i64, hn::Add(place, hn::Set(d, 0.5)));
                    product = hn::Mul(product, hn::GatherIndex(d, ratios.data(),
                                                               hn::Min(bin, hn::Set(i64, last))));
                }
                hn::StoreU(product, d, &products[i]);
            });
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{
HWY_EXPORT(getRatiosKernel);
HWY_EXPORT(getProductsKernel);

namespace
{

constexpr double windowSeconds = 3.0;
constexpr double hopSeconds = 1.5;
constexpr int padding = 4; // but for coarse ones
constexpr int combHarmonics = 12;
constexpr double mostPerHarmonic = 148.4131591; // exp(5)
constexpr double nearestBeside = 1.0;           // Hz
constexpr double farthestBeside = 5.0;
constexpr float silentPower = 1e-14F;

/// Steps of 0.01 Hz at 50 Hz; what lies within 0.3 Hz of a peak belongs to it.
constexpr double stepShare = 0.0002;
constexpr int peakHalf = 10;
constexpr int peakDistance = 30;
constexpr int peaksPerRange = 3;

/// The centre of a peak is that of what reaches above this share of it.
constexpr double topShare = 0.95;

int findSize(std::size_t length, bool isCoarse)
{
    int size = 1;
    while (size < (isCoarse ? 1 : padding) * static_cast<int>(length))
        size *= 2;
    return size;
}

Series<double> makeWindow(double sampleRate)
{
    Series<double> window(static_cast<std::size_t>(windowSeconds * sampleRate));
    const auto last = static_cast<double>(window.size()) - 1.0;
    for (std::size_t i = 0; i < window.size(); ++i)
        window[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / last);
    return window;
}

Series<double> smoothScores(const Series<double>& scores)
{
    const auto last = static_cast<int>(scores.size()) - 1;
    Series<double> smooth;
    for (int i = 0; i <= last; ++i)
    {
        double sum = 0.0;
        for (int offset = -2; offset <= 2; ++offset)
            sum += scores[std::clamp(i + offset, 0, last)];
        smooth.push_back(sum / 5.0);
    }
    return smooth;
}

} // namespace

CombDetector::CombDetector(double rateToUse, Series<FundamentalRange> rangesToUse, bool isCoarse)
    : sampleRate(rateToUse)
    , window(makeWindow(rateToUse))
{
    size = findSize(window.size(), isCoarse);
    for (const FundamentalRange& limits : rangesToUse)
    {
        const double step = (isCoarse ? padding : 1) * stepShare * limits.highest;
        const auto count =
            static_cast<std::size_t>(std::max(0.0, limits.highest - limits.lowest) / step) + 1;
        ranges.push_back({limits, step, Series<double>(count)});
    }
    power.resize(static_cast<std::size_t>(size) / 2 + 1);
    sums.resize(power.size() + 1);
    transform.allocate(size, true);
    frame = Signal32(1, size);
    spectrum = ComplexSignal32(1, size / 2 + 1);
}

int CombDetector::getHop() const
{
    return std::max(1, static_cast<int>(hopSeconds * sampleRate));
}

void CombDetector::addWindow(const float* samples, int count)
{
    float* const values = frame.getWriteChannelPtr(0);
    std::memset(values, 0, static_cast<std::size_t>(size) * sizeof(float));
    const int used = std::min(count, getWindowLength());
    for (int i = 0; i < used; ++i)
        values[i] = static_cast<float>(samples[i] * window[i]);
    transform.forwardReal(frame, spectrum);
    const std::complex<float>* const bins = spectrum.getReadChannelPtr(0);
    for (std::size_t i = 0; i < power.size(); ++i)
    {
        power[i] = static_cast<double>(std::norm(bins[i]) + silentPower);
        sums[i + 1] = sums[i] + power[i];
    }
    const bool isRated = findRatios();
    for (Range& range : ranges)
        if (isRated)
            rate(range);
    ++numWindows;
}

void CombDetector::add(const CombDetector& other)
{
    numWindows += other.numWindows;
    for (std::size_t i = 0; i < ranges.size(); ++i)
        for (std::size_t k = 0; k < ranges[i].scores.size(); ++k)
            ranges[i].scores[k] += other.ranges[i].scores[k];
}

void CombDetector::forget()
{
    numWindows = 0;
    for (Range& range : ranges)
        std::fill(range.scores.begin(), range.scores.end(), 0.0);
}

/// False where the spectrum is too short to compare anything.
bool CombDetector::findRatios()
{
    const double resolution = sampleRate / size;
    const int near = std::max(2, static_cast<int>(nearestBeside / resolution));
    const int far = std::max(near + 1, static_cast<int>(farthestBeside / resolution));
    if (power.size() <= 2 * static_cast<std::size_t>(far))
        return false;
    ratios.resize(power.size());
    HWY_DYNAMIC_DISPATCH(getRatiosKernel)
    ({power.data(), sums.data(), power.size(), static_cast<std::size_t>(near),
      static_cast<std::size_t>(far), mostPerHarmonic},
     ratios.data());
    return true;
}

void CombDetector::rate(Range& range)
{
    products.resize(range.scores.size());
    HWY_DYNAMIC_DISPATCH(getProductsKernel)
    ({range.limits.lowest, range.step, sampleRate / size, combHarmonics}, ratios, products);
    for (std::size_t i = 0; i < products.size(); ++i)
        range.scores[i] += std::log(products[i]);
}

void CombDetector::addPeaks(const Range& range, Series<CombPeak>& peaks) const
{
    const Series<double> scores = smoothScores(range.scores);
    Series<double> sorted = scores;
    const double median = takeMedian(sorted);
    const auto last = static_cast<int>(scores.size()) - 1;
    Series<double> left = scores;
    for (int peak = 0; peak < peaksPerRange; ++peak)
    {
        const auto top =
            static_cast<int>(std::max_element(left.begin(), left.end()) - left.begin());
        if (peak > 0 && left[top] <= 0.0)
            return;
        double moment = 0.0;
        double weights = 1e-30;
        for (int i = std::max(0, top - peakHalf); i <= std::min(last, top + peakHalf); ++i)
        {
            const double weight = std::max(1e-30, scores[i] - topShare * scores[top]);
            moment += weight * i;
            weights += weight;
        }
        peaks.push_back({range.limits.lowest + range.step * moment / weights,
                         (scores[top] - median) / std::max(numWindows, 1)});
        for (int i = std::max(0, top - peakDistance); i <= std::min(last, top + peakDistance); ++i)
            left[i] = 0.0;
    }
}

Series<CombPeak> CombDetector::getPeaks() const
{
    Series<CombPeak> peaks;
    for (const Range& range : ranges)
        addPeaks(range, peaks);
    std::stable_sort(peaks.begin(), peaks.end(),
                     [](const CombPeak& a, const CombPeak& b) { return a.score > b.score; });
    return peaks;
}

} // namespace orvo::audio::precise

#endif
