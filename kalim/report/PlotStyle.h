#pragma once

#include "kalim/report/PlotCanvas.h"

#include <string>

namespace kalim::program
{

/// The look that all parts of a picture share, in points.
inline constexpr double pictureWidth = 1600;
inline constexpr double plotLeft = 100;
inline constexpr double plotRight = 1560;

/// Distances of the axes' labels from the plot.
inline constexpr double tickLabelBelow = 27;
inline constexpr double axisLabelBelow = 62;
inline constexpr double tickLabelLeft = 12;
inline constexpr double tickLabelDrop = 5.5; // from the middle of a text to its baseline
inline constexpr double axisLabelX = 36;

inline constexpr PlotColour ink{0.13, 0.15, 0.18};
inline constexpr PlotColour quietInk{0.38, 0.41, 0.46};
inline constexpr PlotColour frameColour{0.62, 0.65, 0.69};

inline constexpr TextStyle titleStyle{28, ink, true};
inline constexpr TextStyle subtitleStyle{17, quietInk};
inline constexpr TextStyle axisStyle{16, quietInk};
inline constexpr TextStyle tickStyle{15, ink};
inline constexpr TextStyle legendStyle{16, ink};

/// A line and what it stands for, which ends at `right`; returns its left edge.
double drawLegendEntry(const PlotCanvas& canvas, const std::string& label, const PlotColour& colour,
                       double right, double baseline);

/// The label of a vertical axis, upwards, around the middle of the plot's area.
void drawVerticalAxisLabel(const PlotCanvas& canvas, const std::string& label,
                           const PlotArea& area);

void drawFrame(const PlotCanvas& canvas, const PlotArea& area);

} // namespace kalim::program
