#include "benchmarks/CallbackPlot.h"

#include "kalim/report/PlotCanvas.h"

#include <cairo.h>
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace benchmarks
{
namespace
{

using kalim::program::PlotCanvas;
using kalim::program::PlotColour;
using kalim::program::TextAnchor;

constexpr double width = 760.0;
constexpr double height = 420.0;
constexpr double left = 60.0;
constexpr double right = width - 20.0;
constexpr double top = 60.0;
constexpr double bottom = height - 68.0;
constexpr PlotColour ink{0.15, 0.15, 0.18};
constexpr PlotColour faint{0.15, 0.15, 0.18, 0.15};
constexpr PlotColour limit{0.75, 0.15, 0.1};

/// Shares of the deadline upwards; beyond the deadline by a fifth at most.
double toY(double share)
{
    return bottom - (bottom - top) * std::min(share, 1.2) / 1.2;
}

void drawFrame(const PlotCanvas& canvas)
{
    canvas.drawText("96 harmonics, stereo, 48 kHz: time per callback as a share of the deadline",
                    left, 30.0, {14.0, ink, true});
    for (int percent = 0; percent <= 120; percent += 20)
    {
        const double y = toY(percent / 100.0);
        canvas.setColour(percent == 100 ? limit : faint);
        canvas.strokeLine(left, y, right, y);
        canvas.drawText(fmt::format("{} %", percent), left - 8.0, y + 4.0, {11.0, ink},
                        TextAnchor::end);
    }
}

void drawBar(const PlotCanvas& canvas, const CallbackPlot::Bar& bar, double x, double barWidth)
{
    const PlotColour colour =
        bar.isAggressive ? PlotColour{0.85, 0.5, 0.1, 0.9} : PlotColour{0.15, 0.4, 0.7, 0.9};
    canvas.setColour(colour);
    cairo_rectangle(canvas.getContext(), x, toY(bar.work), barWidth, bottom - toY(bar.work));
    cairo_fill(canvas.getContext());
    canvas.setColour(ink);
    canvas.strokeLine(x, toY(bar.median), x + barWidth, toY(bar.median));
    canvas.strokeLine(x + barWidth / 2, toY(bar.work), x + barWidth / 2, toY(bar.maximum));
    canvas.strokeLine(x, toY(bar.maximum), x + barWidth, toY(bar.maximum));
    canvas.drawText(fmt::format("{}", bar.numFrames), x + barWidth / 2, bottom + 18.0, {11.0, ink},
                    TextAnchor::middle);
}

} // namespace

void CallbackPlot::write(const std::string& file) const
{
    PlotCanvas canvas(kalim::program::PictureKind::png, width, height);
    drawFrame(canvas);
    const double step = (right - left) / static_cast<double>(std::max<std::size_t>(bars.size(), 1));
    for (std::size_t i = 0; i < bars.size(); ++i)
        drawBar(canvas, bars[i], left + (static_cast<double>(i) + 0.2) * step, 0.6 * step);
    const double middle = (left + right) / 2;
    canvas.drawText("normal mode", (left + middle) / 2, bottom + 36.0, {11.0, ink, true},
                    TextAnchor::middle);
    canvas.drawText("aggressive mode", (middle + right) / 2, bottom + 36.0, {11.0, ink, true},
                    TextAnchor::middle);
    canvas.drawText("frames per callback; bar: the work of the longest callback, line in it: "
                    "median; line above: with interruptions by the machine",
                    left, height - 8.0, {10.0, ink});
    const std::vector<std::byte> bytes = canvas.finish();
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + file);
}

} // namespace benchmarks
