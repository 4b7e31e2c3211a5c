#pragma once

#include "kalim/report/SpectrumPlot.h"

#include <string>
#include <vector>

namespace kalim::program
{

/// A line of the grid; one without a label is a minor one.
struct PlotTick
{
    double value;
    std::string label;
};

/// Frequencies on a logarithmic scale, from what the data call for.
class FrequencyAxis
{
public:
    FrequencyAxis(const SpectrumPlotData& data, const PlotArea& area);

    double getLowest() const { return low; }

    double getHighest() const { return high; }

    /// Frequencies beyond the ends lie beyond the area.
    double getPosition(double frequency) const;

    /// 1 to 9 times every power of ten; labels at 1, 2 and 5.
    std::vector<PlotTick> getTicks() const;

private:
    double low;
    double high;
    double left;
    double width;
};

/// Levels in dB on a linear scale, with ends on multiples of its step of 10 or 20 dB.
class LevelAxis
{
public:
    /// Looks at the levels between the ends of the frequency axis only.
    LevelAxis(const SpectrumPlotData& data, const FrequencyAxis& frequencies, const PlotArea& area);

    double getLowest() const { return low; }

    double getHighest() const { return high; }

    /// Levels beyond the ends lie on the ends.
    double getPosition(double level) const;

    std::vector<PlotTick> getTicks() const;

private:
    double low = 0;
    double high = 0;
    double step = 0;
    double bottom;
    double height;
};

/// Frequencies from 0 Hz upwards on a linear scale.
class LinearFrequencyAxis
{
public:
    LinearFrequencyAxis(double highest, const PlotArea& area);

    double getHighest() const { return high; }

    double getPosition(double frequency) const;

    std::vector<PlotTick> getTicks() const;

private:
    double high;
    double bottom;
    double height;
};

/// Times in seconds on a linear scale.
class TimeAxis
{
public:
    /// `end` is greater than `start`.
    TimeAxis(double start, double end, const PlotArea& area);

    double getPosition(double seconds) const;

    /// At whole seconds, minutes or hours.
    std::vector<PlotTick> getTicks() const;

private:
    double first;
    double last;
    double left;
    double width;
};

} // namespace kalim::program
