#include "dsp/precise/CombDetector.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

constexpr double windowSeconds = 3.0;
constexpr double hopSeconds = 1.5;
constexpr int padding = 4; // but for coarse ones
constexpr int numHarmonics = 12;
constexpr double mostPerHarmonic = 148.4131591; // exp(5)
constexpr double nearestBeside = 1.0;           // Hz
constexpr double farthestBeside = 5.0;
constexpr float silence = 1e-14F;

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
        power[i] = static_cast<double>(std::norm(bins[i]) + silence);
        sums[i + 1] = sums[i] + power[i];
    }
    for (Range& range : ranges)
        for (std::size_t i = 0; i < range.scores.size(); ++i)
            range.scores[i] += rate(range.limits.lowest + static_cast<double>(i) * range.step);
    ++numWindows;
}

void CombDetector::forget()
{
    numWindows = 0;
    for (Range& range : ranges)
        std::fill(range.scores.begin(), range.scores.end(), 0.0);
}

double CombDetector::getMeanPower(int from, int to) const
{
    return (sums[to] - sums[from]) / (to - from);
}

double CombDetector::rate(double fundamental) const
{
    const double resolution = sampleRate / size;
    const double bins = fundamental / resolution;
    const int near = std::max(2, static_cast<int>(nearestBeside / resolution));
    const int far = std::max(near + 1, static_cast<int>(farthestBeside / resolution));
    double product = 1.0;
    for (int harmonic = 1; harmonic <= numHarmonics; ++harmonic)
    {
        const auto bin = static_cast<int>(bins * harmonic + 0.5);
        if (bin < far || bin + far >= static_cast<int>(power.size()))
            continue;
        const double beside =
            std::max(getMeanPower(bin - far, bin - near), getMeanPower(bin + near, bin + far));
        const double peak = std::max({power[bin - 1], power[bin], power[bin + 1]});
        product *= std::clamp(peak / beside, 1.0, mostPerHarmonic);
    }
    return std::log(product);
}

void CombDetector::addPeaks(const Range& range, Series<CombPeak>& peaks) const
{
    const Series<double> scores = smoothScores(range.scores);
    Series<double> sorted = scores;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
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
                         (scores[top] - *middle) / std::max(numWindows, 1)});
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
