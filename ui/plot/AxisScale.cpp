#include "ui/plot/AxisScale.h"

#include <cmath>
#include <limits>

namespace kalim::ui
{
namespace
{

/// More markers than this are never wanted, and endless ranges must not keep the editor busy.
constexpr double mostMarkers = 400.0;

/// A value that misses the end of the range by rounding alone still belongs to it.
constexpr double rounding = 1e-9;

juce::String withRealMinus(const juce::String& number)
{
    return number.replaceCharacter('-', juce::juce_wchar(0x2212));
}

juce::String plainNumber(double value, double step)
{
    const double magnitude = std::abs(value);
    if (value != 0.0 && (magnitude >= 1e7 || magnitude < 1e-4))
        return withRealMinus(juce::String(value, 0, true));
    const int decimals = juce::jlimit(0, 6, static_cast<int>(std::ceil(-std::log10(step) - 1e-6)));
    return withRealMinus(juce::String(value, decimals));
}

juce::String shortNumber(double value, double step)
{
    if (value < 1000.0 || value >= 1e7)
        return plainNumber(value, step);
    return plainNumber(value / 1000.0, step / 1000.0) + "k";
}

/// Collects the markers of one series.
class Series
{
public:
    Series(juce::Range<double> rangeToUse, const BaseValueMapping& mappingToUse)
        : range(rangeToUse)
        , mapping(mappingToUse)
        , start(mapping.forward(range.getStart()))
        , length(mapping.forward(range.getEnd()) - start)
    {
    }

    void add(double value, const juce::String& text)
    {
        const double position = (mapping.forward(value) - start) / length;
        if (position >= -rounding && position <= 1.0 + rounding)
            markers.push_back({juce::jlimit(0.0, 1.0, position), text});
    }

    std::vector<AxisMarker> take() { return std::move(markers); }

private:
    const juce::Range<double> range;
    const BaseValueMapping& mapping;
    const double start;
    const double length;
    std::vector<AxisMarker> markers;
};

std::vector<AxisMarker> equalSteps(juce::Range<double> range, const BaseValueMapping& mapping,
                                   double step)
{
    Series series(range, mapping);
    const double first = std::ceil(range.getStart() / step - rounding);
    const double last = std::floor(range.getEnd() / step + rounding);
    const int count = static_cast<int>(last - first) + 1;
    for (int i = 0; i < count; ++i)
        series.add((first + i) * step, mapping.isByDecades()
                                           ? shortNumber((first + i) * step, step)
                                           : plainNumber((first + i) * step, step));
    return series.take();
}

std::vector<AxisMarker> decades(juce::Range<double> range, const BaseValueMapping& mapping,
                                const std::vector<double>& digits, int decadeStep)
{
    Series series(range, mapping);
    const int first = static_cast<int>(std::floor(mapping.forward(range.getStart())));
    const int last = static_cast<int>(std::ceil(mapping.forward(range.getEnd())));
    for (int decade = first; decade <= last; ++decade)
    {
        // Whole multiples, so that the numbers stay when the range is moved.
        if (decade % decadeStep != 0)
            continue;
        const double unit = mapping.back(decade);
        for (const double digit : digits)
            series.add(digit * unit, shortNumber(digit * unit, unit));
    }
    return series.take();
}

bool fit(const std::vector<AxisMarker>& markers, double length, double gap,
         const AxisTextExtent& extentOf)
{
    double end = -std::numeric_limits<double>::infinity();
    for (const AxisMarker& marker : markers)
    {
        const double half = extentOf(marker.text) / 2.0;
        const double centre = marker.position * length;
        if (centre - half < end + gap)
            return false;
        end = centre + half;
    }
    return true;
}

/// Steps of 1, 2 and 5 times a power of ten, from too small to larger than the range.
std::vector<double> candidateSteps(double width)
{
    std::vector<double> steps;
    const int largest = static_cast<int>(std::floor(std::log10(width)));
    for (int exponent = largest - 2; exponent <= largest; ++exponent)
    {
        for (const double digit : {1.0, 2.0, 5.0})
        {
            const double step = digit * std::pow(10.0, exponent);
            if (width / step <= mostMarkers)
                steps.push_back(step);
        }
    }
    return steps;
}

} // namespace

double LogarithmicValueMapping::forward(double value) const
{
    using Limits = std::numeric_limits<double>;
    // Written so that NaN becomes the smallest, too.
    const double positive = value >= Limits::min() ? value : Limits::min();
    return std::log10(positive <= Limits::max() ? positive : Limits::max());
}

double LogarithmicValueMapping::back(double mapped) const
{
    constexpr double lowest = std::numeric_limits<double>::min_exponent10;
    constexpr double highest = std::numeric_limits<double>::max_exponent10;
    const double exponent = mapped >= lowest ? mapped : lowest;
    return std::pow(10.0, exponent <= highest ? exponent : highest);
}

std::vector<AxisMarker> chooseAxisMarkers(juce::Range<double> range,
                                          const BaseValueMapping& mapping, double length,
                                          double gap, const AxisTextExtent& extentOf)
{
    const double width = mapping.forward(range.getEnd()) - mapping.forward(range.getStart());
    if (!std::isfinite(range.getLength()) || !std::isfinite(width) || width <= 0.0 || length <= 0.0)
        return {};
    if (mapping.isByDecades())
    {
        std::vector<AxisMarker> markers = decades(range, mapping, {1.0, 2.0, 5.0}, 1);
        for (int step = 1; !fit(markers, length, gap, extentOf); ++step)
            markers = decades(range, mapping, {1.0}, step);
        // Less than a decade may hold hardly a round number of that kind.
        if (markers.size() >= 2 || width >= 1.0)
            return markers;
    }
    for (const double step : candidateSteps(range.getLength()))
    {
        std::vector<AxisMarker> markers = equalSteps(range, mapping, step);
        if (fit(markers, length, gap, extentOf))
            return markers;
    }
    return {};
}

} // namespace kalim::ui
