#pragma once

#include "kalim/report/PlotCanvas.h"
#include "kalim/report/SpectrumPlot.h"

namespace kalim::program
{

/// In points.
inline constexpr double spectrogramsHeight = 740;

/// Draws what the data hold over time, before above after, from `top` on: from 0 Hz to just above
/// the highest harmonic, with the course of the fundamental over the upper one.
void drawSpectrograms(const PlotCanvas& canvas, const SpectrumPlotData& data, double top);

} // namespace kalim::program
