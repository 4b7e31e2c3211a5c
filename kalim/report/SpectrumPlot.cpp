#include "kalim/report/SpectrumPlot.h"

#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/report/PlotAxes.h"
#include "kalim/report/PlotStyle.h"
#include "kalim/report/SpectrogramPlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace kalim::program
{
namespace
{

constexpr double spectrumHeight = 900;
constexpr PlotArea spectrumArea{plotLeft, 172, plotRight, 814};

constexpr PlotColour majorGrid{0.86, 0.87, 0.89};
constexpr PlotColour minorGrid{0.94, 0.945, 0.955};
constexpr PlotColour beforeLine{0.93, 0.53, 0.18};
constexpr PlotColour beforeFill{0.98, 0.78, 0.55, 0.38};
constexpr PlotColour afterLine{0.04, 0.22, 0.45};

constexpr TextStyle numberStyle{15, ink, true};
constexpr TextStyle reductionStyle{13, quietInk};

/// Everything between the harmonic's number and the reduction under it in the strip on top.
constexpr double numberBaseline = spectrumArea.top - 31;
constexpr double reductionBaseline = spectrumArea.top - 14;

class SpectrumPlot
{
public:
    SpectrumPlot(const SpectrumPlotData& plotData, PictureKind kind)
        : data(plotData)
        , canvas(kind, pictureWidth, spectrumHeight + (plotData.overTime ? spectrogramsHeight : 0))
        , frequencies(plotData, spectrumArea)
        , levels(plotData, frequencies, spectrumArea)
        , harmonics(visibleHarmonics())
    {
    }

    std::vector<std::byte> render()
    {
        drawHeading();
        drawGrid();
        drawCurves();
        drawFrame(canvas, spectrumArea);
        drawDots();
        drawStripLabels();
        if (data.overTime)
            drawSpectrograms(canvas, data, spectrumHeight);
        return canvas.finish();
    }

private:
    struct Point
    {
        double x;
        double y;
    };

    void drawHeading() const
    {
        const double legendLeft = drawLegend();
        canvas.drawText(canvas.shortened(data.title, titleStyle, spectrumArea.getWidth()),
                        spectrumArea.left, 56, titleStyle);
        canvas.drawText(
            canvas.shortened(data.subtitle, subtitleStyle, legendLeft - spectrumArea.left - 30),
            spectrumArea.left, 91, subtitleStyle);
    }

    /// Right-aligned beside the subtitle; returns its left edge.
    double drawLegend() const
    {
        constexpr double baseline = 91;
        const double afterLeft =
            drawLegendEntry(canvas, data.afterLabel, afterLine, spectrumArea.right, baseline);
        return drawLegendEntry(canvas, data.beforeLabel, beforeLine, afterLeft - 28, baseline);
    }

    void drawGrid() const
    {
        cairo_set_line_width(canvas.getContext(), 1);
        for (const auto& tick : frequencies.getTicks())
            drawFrequencyTick(tick);
        for (const auto& tick : levels.getTicks())
            drawLevelTick(tick);

        canvas.drawText("Frequency in Hz", (spectrumArea.left + spectrumArea.right) / 2,
                        spectrumArea.bottom + axisLabelBelow, axisStyle, TextAnchor::middle);
        drawVerticalAxisLabel(canvas, "Level in dBFS", spectrumArea);
    }

    void drawFrequencyTick(const PlotTick& tick) const
    {
        const double x = frequencies.getPosition(tick.value);
        canvas.setColour(tick.label.empty() ? minorGrid : majorGrid);
        canvas.strokeLine(x, spectrumArea.top, x, spectrumArea.bottom);
        canvas.drawText(tick.label, x, spectrumArea.bottom + tickLabelBelow, tickStyle,
                        TextAnchor::middle);
    }

    void drawLevelTick(const PlotTick& tick) const
    {
        const double y = levels.getPosition(tick.value);
        canvas.setColour(majorGrid);
        canvas.strokeLine(spectrumArea.left, y, spectrumArea.right, y);
        canvas.drawText(tick.label, spectrumArea.left - tickLabelLeft, y + tickLabelDrop, tickStyle,
                        TextAnchor::end);
    }

    void drawCurves() const
    {
        cairo_save(canvas.getContext());
        cairo_rectangle(canvas.getContext(), spectrumArea.left, spectrumArea.top,
                        spectrumArea.getWidth(), spectrumArea.getHeight());
        cairo_clip(canvas.getContext());
        cairo_set_line_join(canvas.getContext(), CAIRO_LINE_JOIN_ROUND);
        const auto before = curve(data.before);
        fillBelow(before);
        stroke(before, beforeLine, 1.5);
        const auto after = curve(data.after);
        drawStems(after);
        stroke(after, afterLine, 1.3);
        cairo_restore(canvas.getContext());
    }

    /// One point per column of half a point, the highest of those that fall into it.
    std::vector<Point> curve(const std::vector<double>& values) const
    {
        std::vector<Point> points;
        double column = -std::numeric_limits<double>::infinity();
        for (std::size_t i = 1; i < values.size(); ++i)
        {
            const double frequency = static_cast<double>(i) * data.binSpacing;
            // One bin beyond either end leads the line to the edge, where it is clipped.
            if (frequency < frequencies.getLowest() - data.binSpacing ||
                frequency > frequencies.getHighest() + data.binSpacing)
                continue;
            const Point point{frequencies.getPosition(frequency), levels.getPosition(values[i])};
            if (std::floor(2 * point.x) > column)
                points.push_back(point);
            else if (point.y < points.back().y)
                points.back() = point;
            column = std::floor(2 * point.x);
        }
        return points;
    }

    void trace(const std::vector<Point>& points) const
    {
        for (const auto& point : points)
            cairo_line_to(canvas.getContext(), point.x, point.y);
    }

    void fillBelow(const std::vector<Point>& points) const
    {
        if (points.empty())
            return;
        cairo_move_to(canvas.getContext(), points.front().x, spectrumArea.bottom);
        trace(points);
        cairo_line_to(canvas.getContext(), points.back().x, spectrumArea.bottom);
        canvas.setColour(beforeFill);
        cairo_fill(canvas.getContext());
    }

    void stroke(const std::vector<Point>& points, const PlotColour& colour, double width) const
    {
        trace(points);
        canvas.setColour(colour);
        cairo_set_line_width(canvas.getContext(), width);
        cairo_stroke(canvas.getContext());
    }

    std::vector<HarmonicLevels> visibleHarmonics() const
    {
        std::vector<HarmonicLevels> visible;
        std::ranges::copy_if(data.harmonics, std::back_inserter(visible),
                             [&](const HarmonicLevels& harmonic)
                             {
                                 return harmonic.frequency >= frequencies.getLowest() &&
                                        harmonic.frequency <= frequencies.getHighest();
                             });
        std::ranges::sort(visible, {}, &HarmonicLevels::frequency);
        return visible;
    }

    /// Thin lines from the peaks down to what remains of them.
    void drawStems(const std::vector<Point>& after) const
    {
        canvas.setColour({ink.red, ink.green, ink.blue, 0.55});
        cairo_set_line_width(canvas.getContext(), 1);
        for (const auto& harmonic : harmonics)
        {
            const double x = frequencies.getPosition(harmonic.frequency);
            const double top = levels.getPosition(harmonic.before);
            canvas.strokeLine(x, top, x, std::max(top, stemEnd(harmonic, after)));
        }
    }

    /// The level afterwards, but not below the drawn line, which shows maxima of many bins.
    double stemEnd(const HarmonicLevels& harmonic, const std::vector<Point>& after) const
    {
        const double x = frequencies.getPosition(harmonic.frequency);
        const auto next = std::ranges::lower_bound(after, x, {}, &Point::x);
        const double end = levels.getPosition(harmonic.after);
        return next == after.end() ? end : std::min(end, next->y);
    }

    void drawDots() const
    {
        for (const auto& harmonic : harmonics)
        {
            const double x = frequencies.getPosition(harmonic.frequency);
            const double peak = levels.getPosition(harmonic.before);
            cairo_arc(canvas.getContext(), x, peak, 3.2, 0, 2 * std::numbers::pi);
            canvas.setColour({1, 1, 1});
            cairo_fill_preserve(canvas.getContext());
            canvas.setColour(ink);
            cairo_set_line_width(canvas.getContext(), 1.3);
            cairo_stroke(canvas.getContext());
        }
    }

    void drawStripLabels() const
    {
        double numberEnd = -std::numeric_limits<double>::infinity();
        double reductionEnd = numberEnd;
        bool hasRoom = true;
        for (const auto& harmonic : harmonics)
        {
            const double x = frequencies.getPosition(harmonic.frequency);
            canvas.setColour(ink);
            cairo_set_line_width(canvas.getContext(), 1);
            canvas.strokeLine(x, spectrumArea.top - 7, x, spectrumArea.top);
            drawIfFree(fmt::format("{}", harmonic.number), x, numberBaseline, numberStyle,
                       numberEnd);
            // The first few only, without holes that would need an explanation.
            hasRoom = hasRoom && drawIfFree(reductionText(harmonic), x, reductionBaseline,
                                            reductionStyle, reductionEnd);
        }
        if (!harmonics.empty())
            drawStripTitle(harmonics.front());
    }

    /// What the numbers on top mean, left of the first one if there is room.
    void drawStripTitle(const HarmonicLevels& first) const
    {
        const double room = frequencies.getPosition(first.frequency) - spectrumArea.left - 40;
        if (canvas.widthOf("Change", reductionStyle) > room)
            return;
        canvas.drawText("Harmonic", spectrumArea.left, numberBaseline, reductionStyle);
        canvas.drawText("Change", spectrumArea.left, reductionBaseline, reductionStyle);
    }

    bool drawIfFree(const std::string& text, double x, double y, const TextStyle& style,
                    double& occupiedUntil) const
    {
        constexpr double gap = 9;
        const double half = canvas.widthOf(text, style) / 2;
        if (x - half < occupiedUntil + gap || x + half > pictureWidth - 4)
            return false;
        canvas.drawText(text, x, y, style, TextAnchor::middle);
        occupiedUntil = x + half;
        return true;
    }

    static std::string reductionText(const HarmonicLevels& harmonic)
    {
        const double change = harmonic.after - harmonic.before;
        if (!std::isfinite(change))
            return "";
        const auto rounded = std::lround(change);
        return fmt::format("{}{} dB",
                           rounded < 0   ? "−"
                           : rounded > 0 ? "+"
                                         : "",
                           std::abs(rounded));
    }

    const SpectrumPlotData& data;
    PlotCanvas canvas;
    FrequencyAxis frequencies;
    LevelAxis levels;
    std::vector<HarmonicLevels> harmonics;
};

} // namespace

PictureKind pictureKindOf(const std::filesystem::path& path)
{
    const std::string extension = lowered(path.extension().string());
    if (extension == ".png")
        return PictureKind::png;
    if (extension == ".svg")
        return PictureKind::svg;
    throw FileError(path, "a picture's name must end in .png or .svg");
}

void drawSpectrumPlot(OutputFile& output, const SpectrumPlotData& data)
{
    output.write(SpectrumPlot(data, pictureKindOf(output.getTarget())).render());
}

} // namespace kalim::program
