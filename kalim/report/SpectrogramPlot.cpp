#include "kalim/report/SpectrogramPlot.h"

#include "kalim/report/PlotAxes.h"
#include "kalim/report/PlotStyle.h"
#include "kalim/report/Spectrogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <iterator>
#include <span>

namespace kalim::program
{
namespace
{

constexpr double panelHeight = 280;
constexpr double firstPanel = 40; // below the top
constexpr double secondPanel = firstPanel + panelHeight + 50;
constexpr double headingAbove = 13;

/// What is shown at least, in Hz, and how much more than the highest harmonic.
constexpr double leastFrequencyEnd = 300;
constexpr double marginAbove = 1.08;

/// Pixels of an image: small enough for a text file, and no finer than what was measured.
constexpr int imageWidth = 730;
constexpr int imageHeight = 280;

/// From quiet to loud, ever darker.
constexpr std::array<PlotColour, 6> shades{{{1.00, 1.00, 1.00},
                                            {0.99, 0.90, 0.76},
                                            {0.96, 0.68, 0.36},
                                            {0.82, 0.38, 0.20},
                                            {0.47, 0.13, 0.27},
                                            {0.10, 0.05, 0.20}}};
constexpr int numShades = 64;

constexpr PlotColour courseLine{0.05, 0.45, 0.95};
constexpr PlotColour courseHalo{1, 1, 1, 0.8};

/// Below this in Hz, where recordings often have an offset, levels do not count for the shades.
constexpr double lowestAudible = 20;

/// What is no louder, up to rounding, is silence.
constexpr float nearSilence = Spectrogram::lowestLevel + 1;

/// Between what is quieter than most and nearly the loudest.
constexpr double quietShare = 0.1;
constexpr double loudShare = 0.999;
constexpr double smallestShadedSpan = 40;
constexpr double largestShadedSpan = 90;

using Levels = std::vector<std::vector<float>>; // [column][row or bin]

/// Levels in dBFS that white and the darkest shade stand for.
struct Shading
{
    double low;
    double high;

    double getShare(double level) const
    {
        return std::clamp((level - low) / (high - low), 0.0, 1.0);
    }
};

/// From 0 for quiet to 1 for loud.
PlotColour colourOf(double share)
{
    const double place = share * (shades.size() - 1);
    const auto below = std::min(static_cast<std::size_t>(place), shades.size() - 2);
    const double rest = place - static_cast<double>(below);
    const auto mix = [&](double PlotColour::*part)
    { return (1 - rest) * shades[below].*part + rest * shades[below + 1].*part; };
    return {mix(&PlotColour::red), mix(&PlotColour::green), mix(&PlotColour::blue)};
}

std::uint32_t pixelOf(double share)
{
    const PlotColour colour = colourOf(std::round(share * (numShades - 1)) / (numShades - 1));
    const auto byte = [](double part)
    { return static_cast<std::uint32_t>(std::lround(255 * part)); };
    return byte(colour.red) << 16U | byte(colour.green) << 8U | byte(colour.blue);
}

float between(const std::vector<float>& values, double place)
{
    const double limited = std::clamp(place, 0.0, static_cast<double>(values.size()) - 1);
    const auto below = static_cast<std::size_t>(limited);
    const auto above = std::min(below + 1, values.size() - 1);
    const auto share = static_cast<float>(limited - std::floor(limited));
    return (1 - share) * values[below] + share * values[above];
}

/// The loudest of the bins between two places, or what lies between their neighbours.
float loudestWithin(const std::vector<float>& bins, double from, double to)
{
    float loudest = between(bins, 0.5 * (from + to));
    const double end = std::min(to, static_cast<double>(bins.size()));
    for (auto bin = static_cast<std::size_t>(std::ceil(from)); static_cast<double>(bin) < end;
         ++bin)
        loudest = std::max(loudest, bins[bin]);
    return loudest;
}

/// Levels of rows from the top, each `binsPerRow` bins high; the lowest begins at 0 Hz.
Levels toRows(const Levels& columns, double binsPerRow)
{
    Levels result;
    for (const std::vector<float>& bins : columns)
    {
        std::vector<float>& rows = result.emplace_back();
        for (int row = imageHeight - 1; row >= 0; --row)
            rows.push_back(loudestWithin(bins, row * binsPerRow, (row + 1) * binsPerRow));
    }
    return result;
}

double pick(std::vector<float>& values, double share)
{
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::ranges::nth_element(values, values.begin() + place);
    return static_cast<double>(values[static_cast<std::size_t>(place)]);
}

Shading findShading(const Levels& rows, double frequencyEnd)
{
    const auto audible = static_cast<std::size_t>(imageHeight * (1 - lowestAudible / frequencyEnd));
    std::vector<float> levels;
    for (const std::vector<float>& column : rows)
        std::ranges::copy_if(std::span(column).first(audible), std::back_inserter(levels),
                             [](float level) { return level > nearSilence; });
    if (levels.empty())
        return {-smallestShadedSpan, 0};
    const double high = 10 * std::ceil(pick(levels, loudShare) / 10);
    const double low = 10 * std::floor(pick(levels, quietShare) / 10);
    return {std::clamp(low, high - largestShadedSpan, high - smallestShadedSpan), high};
}

/// As wide as `columns` columns, of which those that are missing at the end are like the last.
PlotImage makeImage(const Levels& rows, double columns, const Shading& shading)
{
    PlotImage image{imageWidth, imageHeight, {}};
    for (std::size_t y = 0; y < imageHeight; ++y)
        for (int x = 0; x < imageWidth; ++x)
        {
            const double last = static_cast<double>(rows.size()) - 1;
            const double place = std::clamp((x + 0.5) / imageWidth * columns - 0.5, 0.0, last);
            const auto left = static_cast<std::size_t>(place);
            const auto right = std::min(left + 1, rows.size() - 1);
            const double share = place - std::floor(place);
            const double level = (1 - share) * static_cast<double>(rows[left][y]) +
                                 share * static_cast<double>(rows[right][y]);
            image.pixels.push_back(pixelOf(shading.getShare(level)));
        }
    return image;
}

double highestFrequency(const SpectrumPlotData& data)
{
    const double highest =
        std::max(leastFrequencyEnd, marginAbove * data.overTime->highestHarmonic);
    return std::min({highest, Spectrogram::highestFrequency, data.sampleRate / 2});
}

class SpectrogramPlot
{
public:
    SpectrogramPlot(const PlotCanvas& target, const SpectrumPlotData& plotData, double plotTop)
        : canvas(target)
        , data(plotData)
        , overTime(*plotData.overTime)
        , top(plotTop)
        , frequencyEnd(highestFrequency(plotData))
        , times(overTime.start, overTime.end, areaFrom(0))
    {
    }

    void draw() const
    {
        const double binsPerRow = frequencyEnd / imageHeight / overTime.binSpacing;
        const Levels before = toRows(overTime.before, binsPerRow);
        const Shading shading = findShading(before, frequencyEnd);
        const PlotArea upper = areaFrom(firstPanel);
        const PlotArea lower = areaFrom(secondPanel);
        drawPanel(before, data.beforeLabel, upper, shading);
        drawCourse(upper);
        drawPanel(toRows(overTime.after, binsPerRow), data.afterLabel, lower, shading);
        drawTimes(upper, lower);
        drawShading(shading, upper);
    }

private:
    PlotArea areaFrom(double start) const
    {
        return {plotLeft, top + start, plotRight, top + start + panelHeight};
    }

    void drawPanel(const Levels& rows, const std::string& label, const PlotArea& area,
                   const Shading& shading) const
    {
        const double columns = (overTime.end - overTime.start) / overTime.secondsPerColumn;
        if (!rows.empty())
            canvas.drawImage(makeImage(rows, columns, shading), area);
        drawFrame(canvas, area);
        canvas.drawText(canvas.shortened(label + " over time", headingStyle, area.getWidth() / 3),
                        area.left, area.top - headingAbove, headingStyle);
        const LinearFrequencyAxis axis(frequencyEnd, area);
        for (const PlotTick& tick : axis.getTicks())
        {
            const double y = axis.getPosition(tick.value);
            drawTick(area.left, y, area.left - tickLength, y);
            canvas.drawText(tick.label, area.left - tickLabelLeft, y + tickLabelDrop, tickStyle,
                            TextAnchor::end);
        }
        drawVerticalAxisLabel(canvas, "Frequency in Hz", area);
    }

    void drawTick(double x1, double y1, double x2, double y2) const
    {
        canvas.setColour(frameColour);
        cairo_set_line_width(canvas.getContext(), 1);
        canvas.strokeLine(x1, y1, x2, y2);
    }

    void drawTimes(const PlotArea& upper, const PlotArea& lower) const
    {
        for (const PlotTick& tick : times.getTicks())
        {
            const double x = times.getPosition(tick.value);
            for (const double y : {upper.bottom, lower.bottom})
                drawTick(x, y, x, y + tickLength);
            canvas.drawText(tick.label, x, lower.bottom + tickLabelBelow, tickStyle,
                            TextAnchor::middle);
        }
        canvas.drawText(overTime.end < 3600 ? "Time in min:s" : "Time in h:min:s",
                        (lower.left + lower.right) / 2, lower.bottom + axisLabelBelow, axisStyle,
                        TextAnchor::middle);
    }

    /// A line wherever there is a fundamental, from edge to edge of its moments.
    void drawCourse(const PlotArea& area) const
    {
        cairo_t* const context = canvas.getContext();
        cairo_save(context);
        cairo_rectangle(context, area.left, area.top, area.getWidth(), area.getHeight());
        cairo_clip(context);
        cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
        for (const auto& [colour, width] : {std::pair(courseHalo, 3.5), {courseLine, 1.5}})
        {
            traceCourse(LinearFrequencyAxis(frequencyEnd, area));
            canvas.setColour(colour);
            cairo_set_line_width(context, width);
            cairo_stroke(context);
        }
        cairo_restore(context);
    }

    void traceCourse(const LinearFrequencyAxis& axis) const
    {
        const std::vector<double>& moments = overTime.fundamental;
        const auto isHum = [&](std::size_t i) { return i < moments.size() && moments[i] > 0; };
        for (std::size_t i = 0; i < moments.size(); ++i)
        {
            if (!isHum(i))
                continue;
            const double y = axis.getPosition(moments[i]);
            const auto x = [&](double part)
            {
                const double time = (static_cast<double>(i) + part) * overTime.secondsPerMoment;
                return times.getPosition(overTime.start + time);
            };
            if (i == 0 || !isHum(i - 1))
                cairo_move_to(canvas.getContext(), x(0), y);
            cairo_line_to(canvas.getContext(), x(0.5), y);
            if (!isHum(i + 1))
                cairo_line_to(canvas.getContext(), x(1), y);
        }
    }

    /// What the colours mean, right above an area, and the line left of it.
    void drawShading(const Shading& shading, const PlotArea& area) const
    {
        constexpr double length = 200;
        const double baseline = area.top - headingAbove;
        const auto label = [](double level)
        { return fmt::format("{}{:.0f}", level < 0 ? "−" : "", std::abs(level)); };
        const std::string high = label(shading.high) + " dBFS";
        canvas.drawText(high, area.right, baseline, legendStyle, TextAnchor::end);
        const double right = area.right - canvas.widthOf(high, legendStyle) - 10;
        const PlotArea bar{right - length, baseline - 12, right, baseline};
        PlotImage gradient{numShades, 1, {}};
        for (int i = 0; i < numShades; ++i)
            gradient.pixels.push_back(pixelOf(static_cast<double>(i) / (numShades - 1)));
        canvas.drawImage(gradient, bar);
        drawFrame(canvas, bar);
        canvas.drawText(label(shading.low), bar.left - 10, baseline, legendStyle, TextAnchor::end);
        if (std::ranges::any_of(overTime.fundamental, [](double hz) { return hz > 0; }))
            drawLegendEntry(canvas, overTime.fundamentalLabel, courseLine, bar.left - 90, baseline);
    }

    static constexpr TextStyle headingStyle{16, ink, true};
    static constexpr double tickLength = 6;

    const PlotCanvas& canvas;
    const SpectrumPlotData& data;
    const SpectrogramData& overTime;
    double top;
    double frequencyEnd;
    TimeAxis times;
};

} // namespace

void drawSpectrograms(const PlotCanvas& canvas, const SpectrumPlotData& data, double top)
{
    SpectrogramPlot(canvas, data, top).draw();
}

} // namespace kalim::program
