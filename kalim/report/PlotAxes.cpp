#include "kalim/report/PlotAxes.h"

#include "kalim/report/TimeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace kalim::program
{
namespace
{

constexpr double usualLowest = 20;
constexpr double leastHighest = 2000;
constexpr double largestSpan = 140;

double lowestFrequency(const SpectrumPlotData& data)
{
    double lowest = usualLowest;
    for (const auto& harmonic : data.harmonics)
        lowest = std::min(lowest, harmonic.frequency / 2);
    return std::max({lowest, data.binSpacing, 1.0});
}

double highestFrequency(const SpectrumPlotData& data, double lowest)
{
    double highest = leastHighest;
    for (const auto& harmonic : data.harmonics)
        highest = std::max(highest, harmonic.frequency * 1.25);
    return std::max(std::min(highest, data.sampleRate / 2), 2 * lowest);
}

/// Steps between ticks, of which the first that makes few enough is taken.
constexpr std::array frequencySteps{50.0, 100.0, 200.0, 500.0, 1000.0};
constexpr std::array timeSteps{1.0,    2.0,    5.0,     10.0,    20.0,   30.0,
                               60.0,   120.0,  300.0,   600.0,   900.0,  1800.0,
                               3600.0, 7200.0, 10800.0, 21600.0, 43200.0};
constexpr double mostFrequencyTicks = 6;
constexpr double mostTimeTicks = 13;

/// Multiples of a step between two ends; a step beyond the table is the whole of the last one.
template <std::size_t count>
std::vector<double> multiplesWithin(double low, double high, const std::array<double, count>& steps,
                                    double most)
{
    const auto found =
        std::ranges::find_if(steps, [&](double step) { return (high - low) / step <= most; });
    double step = found == steps.end() ? steps.back() : *found;
    while ((high - low) / step > most)
        step *= 2;
    std::vector<double> result;
    for (double value = step * std::ceil(low / step); value <= high; value += step)
        result.push_back(value);
    return result;
}

std::string frequencyLabel(double frequency)
{
    return frequency < 1000 ? fmt::format("{:.0f}", frequency)
                            : fmt::format("{:.0f}k", frequency / 1000);
}

std::vector<double> visibleLevels(const SpectrumPlotData& data, const FrequencyAxis& axis)
{
    std::vector<double> levels;
    for (const auto* curve : {&data.before, &data.after})
        for (std::size_t i = 0; i < curve->size(); ++i)
        {
            const double frequency = static_cast<double>(i) * data.binSpacing;
            const bool isVisible = frequency >= axis.getLowest() && frequency <= axis.getHighest();
            if (isVisible && std::isfinite((*curve)[i]))
                levels.push_back((*curve)[i]);
        }
    return levels;
}

} // namespace

FrequencyAxis::FrequencyAxis(const SpectrumPlotData& data, const PlotArea& area)
    : low(lowestFrequency(data))
    , high(highestFrequency(data, low))
    , left(area.left)
    , width(area.getWidth())
{
}

double FrequencyAxis::getPosition(double frequency) const
{
    const double share = std::log(frequency / low) / std::log(high / low);
    return left + width * share;
}

std::vector<PlotTick> FrequencyAxis::getTicks() const
{
    std::vector<PlotTick> result;
    const double first = std::pow(10, std::floor(std::log10(low)));
    for (double decade = first; decade <= high; decade *= 10)
        for (int digit = 1; digit < 10; ++digit)
        {
            const double value = digit * decade;
            const bool isMajor = digit == 1 || digit == 2 || digit == 5;
            // A hair's breadth of room, so that an end on a tick keeps it.
            if (value >= low * 0.9999 && value <= high * 1.0001)
                result.push_back({value, isMajor ? frequencyLabel(value) : ""});
        }
    return result;
}

LevelAxis::LevelAxis(const SpectrumPlotData& data, const FrequencyAxis& frequencies,
                     const PlotArea& area)
    : bottom(area.bottom)
    , height(area.getHeight())
{
    auto levels = visibleLevels(data, frequencies);
    if (levels.empty())
        levels = {-100, 0};
    std::ranges::sort(levels);
    // Single deep notches between bins would push everything of interest together.
    const double floorLevel = levels[levels.size() / 100];
    const double peak = levels.back();
    const double lowestWanted = std::max(floorLevel, peak - largestSpan);
    step = peak - lowestWanted > 90 ? 20 : 10;
    high = step * std::ceil((peak + 2) / step);
    low = std::min(step * std::floor((lowestWanted - 2) / step), high - 4 * step);
}

double LevelAxis::getPosition(double level) const
{
    const double limited = std::isnan(level) ? low : std::clamp(level, low, high);
    return bottom - height * (limited - low) / (high - low);
}

std::vector<PlotTick> LevelAxis::getTicks() const
{
    std::vector<PlotTick> result;
    const auto count = std::lround((high - low) / step);
    for (long i = 0; i <= count; ++i)
    {
        const double level = low + static_cast<double>(i) * step;
        result.push_back({level, fmt::format("{}{:.0f}", level < 0 ? "−" : "", std::abs(level))});
    }
    return result;
}

LinearFrequencyAxis::LinearFrequencyAxis(double highest, const PlotArea& area)
    : high(highest)
    , bottom(area.bottom)
    , height(area.getHeight())
{
}

double LinearFrequencyAxis::getPosition(double frequency) const
{
    return bottom - height * frequency / high;
}

std::vector<PlotTick> LinearFrequencyAxis::getTicks() const
{
    std::vector<PlotTick> result;
    for (const double value : multiplesWithin(0, high, frequencySteps, mostFrequencyTicks))
        result.push_back({value, fmt::format("{:.0f}", value)});
    return result;
}

TimeAxis::TimeAxis(double start, double end, const PlotArea& area)
    : first(start)
    , last(end)
    , left(area.left)
    , width(area.getWidth())
{
}

double TimeAxis::getPosition(double seconds) const
{
    return left + width * (seconds - first) / (last - first);
}

std::vector<PlotTick> TimeAxis::getTicks() const
{
    std::vector<PlotTick> result;
    for (const double value : multiplesWithin(first, last, timeSteps, mostTimeTicks))
        result.push_back({value, timeText(value)});
    return result;
}

} // namespace kalim::program
