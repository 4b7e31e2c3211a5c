#include "kalim/report/PlotStyle.h"

#include <numbers>

namespace kalim::program
{

double drawLegendEntry(const PlotCanvas& canvas, const std::string& label, const PlotColour& colour,
                       double right, double baseline)
{
    const auto text = canvas.shortened(label, legendStyle, 300);
    canvas.drawText(text, right, baseline, legendStyle, TextAnchor::end);
    const double lineRight = right - canvas.widthOf(text, legendStyle) - 10;
    canvas.setColour(colour);
    cairo_set_line_width(canvas.getContext(), 5);
    canvas.strokeLine(lineRight - 34, baseline - 6, lineRight, baseline - 6);
    return lineRight - 34;
}

void drawVerticalAxisLabel(const PlotCanvas& canvas, const std::string& label, const PlotArea& area)
{
    cairo_save(canvas.getContext());
    cairo_translate(canvas.getContext(), axisLabelX, (area.top + area.bottom) / 2);
    cairo_rotate(canvas.getContext(), -std::numbers::pi / 2);
    canvas.drawText(label, 0, 0, axisStyle, TextAnchor::middle);
    cairo_restore(canvas.getContext());
}

void drawFrame(const PlotCanvas& canvas, const PlotArea& area)
{
    canvas.setColour(frameColour);
    cairo_set_line_width(canvas.getContext(), 1);
    cairo_rectangle(canvas.getContext(), area.left, area.top, area.getWidth(), area.getHeight());
    cairo_stroke(canvas.getContext());
}

} // namespace kalim::program
