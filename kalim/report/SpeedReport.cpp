#include "kalim/report/SpeedReport.h"

#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/report/PlotAxes.h"
#include "kalim/report/PlotStyle.h"
#include "kalim/report/SpectrumPlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <span>

namespace kalim::program
{
namespace
{

using Moments = std::vector<SpeedCourse::Moment>;

constexpr double speedPictureHeight = 620;
constexpr PlotArea speedArea{plotLeft, 130, plotRight, 530};
constexpr PlotColour gridColour{0.86, 0.87, 0.89};
constexpr PlotColour speedLine{0.04, 0.22, 0.45};
constexpr PlotColour meanLine{0.93, 0.53, 0.18};

double errorOf(double fundamental, double mains)
{
    return 100.0 * (fundamental / mains - 1.0);
}

std::string signedText(double value, int decimals)
{
    const std::string text = fmt::format("{:.{}f}", std::abs(value), decimals);
    return (value < 0.0 ? "−" : "+") + text;
}

bool isTable(const std::filesystem::path& path)
{
    return lowered(path.extension().native()) == ".csv";
}

std::string toTable(const Moments& moments, double mains)
{
    std::string text = "time_s,fundamental_hz,speed_error_percent,speed_error_cents\n";
    for (const auto& [seconds, fundamental] : moments)
    {
        const double error = errorOf(fundamental, mains);
        fmt::format_to(std::back_inserter(text), "{:.3f},{:.5f},{:.4f},{:.3f}\n", seconds,
                       fundamental, error, toCents(error));
    }
    return text;
}

/// No more moments than a picture can show, each the mean of its neighbours.
Moments thinned(const Moments& moments)
{
    constexpr std::size_t most = 4000;
    const std::size_t group = moments.size() / most + 1;
    Moments result;
    for (std::size_t first = 0; first < moments.size(); first += group)
    {
        const auto part =
            std::span(moments).subspan(first, std::min(group, moments.size() - first));
        SpeedCourse::Moment mean{0.0, 0.0};
        for (const auto& [seconds, fundamental] : part)
        {
            mean.seconds += seconds / static_cast<double>(part.size());
            mean.fundamental += fundamental / static_cast<double>(part.size());
        }
        result.push_back(mean);
    }
    return result;
}

/// Percent on a linear scale that shows all values and a little more.
class ErrorAxis
{
public:
    explicit ErrorAxis(const SpeedError& error)
    {
        constexpr double leastSpan = 0.1;
        constexpr double mostTicks = 8;
        const double margin = std::max(0.15 * (error.highest - error.lowest), leastSpan / 2);
        low = error.lowest - margin;
        high = error.highest + margin;
        step = std::pow(10.0, std::floor(std::log10((high - low) / mostTicks)));
        for (const double factor : {2.0, 2.5, 2.0})
            if ((high - low) / step > mostTicks)
                step *= factor;
    }

    double getPosition(double percent) const
    {
        return speedArea.bottom - speedArea.getHeight() * (percent - low) / (high - low);
    }

    std::vector<PlotTick> getTicks() const
    {
        const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
        std::vector<PlotTick> ticks;
        for (double i = std::ceil(low / step); i * step <= high; ++i)
            ticks.push_back({i * step, i == 0.0 ? "0" : signedText(i * step, decimals)});
        return ticks;
    }

private:
    double low;
    double high;
    double step;
};

class SpeedPlot
{
public:
    SpeedPlot(PictureKind kind, double seconds)
        : canvas(kind, pictureWidth, speedPictureHeight)
        , end(std::max(seconds, 1e-3))
        , times(0.0, end, speedArea)
    {
    }

    std::vector<std::byte> render(const Moments& moments, const std::optional<SpeedError>& error,
                                  const std::string& title)
    {
        canvas.drawText(canvas.shortened(title, titleStyle, speedArea.getWidth()), speedArea.left,
                        56, titleStyle);
        canvas.drawText(error ? describe(*error) : "no hum was found to tell the speed from",
                        speedArea.left, 91, subtitleStyle);
        drawTimes();
        if (error)
            drawCourse(thinned(moments), *error);
        drawFrame(canvas, speedArea);
        drawVerticalAxisLabel(canvas, "Speed error in %", speedArea);
        return canvas.finish();
    }

private:
    static std::string describe(const SpeedError& error)
    {
        return fmt::format("against mains of {:g} Hz: mean {} % ({} cents), from {} % to {} %; "
                           "right on average at {:.5f} times the speed",
                           error.mains, signedText(error.mean, 3),
                           signedText(toCents(error.mean), 1), signedText(error.lowest, 3),
                           signedText(error.highest, 3), error.getCorrection());
    }

    void drawTimes() const
    {
        for (const PlotTick& tick : times.getTicks())
        {
            const double x = times.getPosition(tick.value);
            drawGridLine(x, speedArea.top, x, speedArea.bottom);
            canvas.drawText(tick.label, x, speedArea.bottom + tickLabelBelow, tickStyle,
                            TextAnchor::middle);
        }
        canvas.drawText(end < 3600 ? "Time in min:s" : "Time in h:min:s",
                        (speedArea.left + speedArea.right) / 2, speedArea.bottom + axisLabelBelow,
                        axisStyle, TextAnchor::middle);
    }

    void drawGridLine(double x1, double y1, double x2, double y2) const
    {
        canvas.setColour(gridColour);
        cairo_set_line_width(canvas.getContext(), 1);
        canvas.strokeLine(x1, y1, x2, y2);
    }

    void drawCourse(const Moments& moments, const SpeedError& error) const
    {
        const ErrorAxis errors(error);
        for (const PlotTick& tick : errors.getTicks())
        {
            const double y = errors.getPosition(tick.value);
            drawGridLine(speedArea.left, y, speedArea.right, y);
            canvas.drawText(tick.label, speedArea.left - tickLabelLeft, y + tickLabelDrop,
                            tickStyle, TextAnchor::end);
        }
        canvas.setColour(meanLine);
        cairo_set_line_width(canvas.getContext(), 1.5);
        const double mean = errors.getPosition(error.mean);
        canvas.strokeLine(speedArea.left, mean, speedArea.right, mean);
        traceCourse(moments, error.mains, errors);
        canvas.setColour(speedLine);
        cairo_set_line_width(canvas.getContext(), 2);
        cairo_stroke(canvas.getContext());
    }

    /// A line that breaks where the hum pauses.
    void traceCourse(const Moments& moments, double mains, const ErrorAxis& errors) const
    {
        constexpr double longestStep = 3.0; // of the usual ones
        std::vector<double> steps;
        for (std::size_t i = 1; i < moments.size(); ++i)
            steps.push_back(moments[i].seconds - moments[i - 1].seconds);
        std::vector<double> sorted = steps;
        std::ranges::sort(sorted);
        const double usual = sorted.empty() ? 0.0 : sorted[sorted.size() / 2];
        for (std::size_t i = 0; i < moments.size(); ++i)
        {
            const double x = times.getPosition(moments[i].seconds);
            const double y = errors.getPosition(errorOf(moments[i].fundamental, mains));
            if (i == 0 || steps[i - 1] > longestStep * usual)
                cairo_move_to(canvas.getContext(), x, y);
            else
                cairo_line_to(canvas.getContext(), x, y);
        }
    }

    PlotCanvas canvas;
    double end;
    TimeAxis times;
};

} // namespace

double SpeedError::getCorrection() const
{
    return 1.0 / (1.0 + mean / 100.0);
}

double toCents(double percent)
{
    return 1200.0 * std::log2(1.0 + percent / 100.0);
}

std::optional<SpeedError> SpeedCourse::summarise(std::optional<double> knownMains) const
{
    if (moments.empty())
        return {};
    const auto [lowest, highest] = std::ranges::minmax(moments, {}, &Moment::fundamental);
    const double mean =
        std::accumulate(moments.begin(), moments.end(), 0.0,
                        [](double sum, const Moment& moment) { return sum + moment.fundamental; }) /
        static_cast<double>(moments.size());
    const double between = std::sqrt(50.0 * 60.0);
    const double mains = knownMains.value_or(mean < between ? 50.0 : 60.0);
    return SpeedError{mains, errorOf(mean, mains), errorOf(lowest.fundamental, mains),
                      errorOf(highest.fundamental, mains)};
}

void SpeedCourse::write(OutputFile& output, const std::optional<SpeedError>& error, double seconds,
                        const std::string& title) const
{
    if (!isTable(output.getTarget()))
    {
        SpeedPlot plot(pictureKindOf(output.getTarget()), seconds);
        output.write(plot.render(moments, error, title));
        return;
    }
    const std::string table = toTable(moments, error ? error->mains : 1.0);
    output.write(std::as_bytes(std::span(table)));
}

void requireSpeedReportName(const std::filesystem::path& path)
{
    const std::string extension = lowered(path.extension().native());
    if (!isTable(path) && extension != ".png" && extension != ".svg")
        throw FileError(path, "a speed report's name must end in .csv, .png or .svg");
}

} // namespace kalim::program
