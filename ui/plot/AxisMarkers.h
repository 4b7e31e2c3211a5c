#pragma once

#include "ui/plot/BaseValueMapping.h"

#include <functional>
#include <juce_core/juce_core.h>
#include <vector>

/// A numbered place on an axis.
struct AxisMarker
{
    double value = 0.0;
    /// 0 at the start of the axis's range, 1 at its end.
    double position = 0.0;
    juce::String text;
};

/// How much of an axis a marker's text takes along the axis, in pixels.
using AxisTextExtent = std::function<double(const juce::String&)>;

/// The densest series of round numbers whose texts keep a distance of `gap` pixels on an axis that
/// is `length` pixels long: 1-2-5 steps, or 1-2-5, whole decades or every so many decades where the
/// mapping goes by decades. Empty when the range is empty or not finite, or when there is no room.
std::vector<AxisMarker> chooseAxisMarkers(juce::Range<double> range,
                                          const BaseValueMapping& mapping, double length,
                                          double gap, const AxisTextExtent& extentOf);
