#pragma once

#include <functional>
#include <juce_core/juce_core.h>
#include <vector>

namespace kalim::ui
{

/// How values are spread over a display: equal distances on the screen are equal distances of
/// mapped values. Both directions give finite results for every finite value.
class BaseValueMapping
{
public:
    virtual ~BaseValueMapping() = default;

    /// From a value to the scale on which distances are measured.
    virtual double forward(double value) const = 0;

    /// From the scale back to the value.
    virtual double back(double mapped) const = 0;

    /// Whether decades are equally wide, so that round numbers repeat in each of them.
    virtual bool isByDecades() const { return false; }
};

/// Leaves values as they are: a linear display.
class IdentityValueMapping final : public BaseValueMapping
{
public:
    double forward(double value) const override { return value; }

    double back(double mapped) const override { return mapped; }
};

/// Decades are equally wide. Values that have no logarithm are taken for the smallest that has one.
class LogarithmicValueMapping final : public BaseValueMapping
{
public:
    double forward(double value) const override;
    double back(double mapped) const override;

    bool isByDecades() const override { return true; }
};

/// A numbered place on an axis.
struct AxisMarker
{
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

} // namespace kalim::ui
