#pragma once

#include "ui/plot/AxisScale.h"

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>
#include <vector>

namespace kalim::ui
{

/// On which side of the plot an axis lies. Its ticks point to the plot, its label is farthest away.
enum class AxisPlacement : int
{
    left = 0,
    bottom = 3
};

/// The ticks, numbers and label at one side of a plot. Numbers never overlap: the less room there
/// is, the fewer there are. Message thread.
class Axis : public juce::Component
{
public:
    /// How far the axis reaches beyond the plot at either end, in pixels: the range of values spans
    /// its length without these margins, which give the outermost numbers the room they need to
    /// stand centred on their ticks.
    static constexpr int endMargin = 16;

    /// An axis from 0 to 1 at the left of the plot, without label, with equal steps.
    explicit Axis(const juce::String& name = {});

    /// The values at the two ends of the plot, lower or left first.
    void setValueRange(juce::Range<double> newRange);

    juce::Range<double> getValueRange() const { return range; }

    void setPlacement(AxisPlacement newPlacement);

    /// Null stands for the identity.
    void setValueMapping(std::shared_ptr<BaseValueMapping> newMapping);

    void setLabelText(const juce::String& newText);

    /// Where the numbered ticks are in the present size: 0 is the start of the plot, 1 its end.
    std::vector<double> getCurrentMarkerPositions() const;

    /// The same places with their values and texts.
    const std::vector<AxisMarker>& getCurrentMarkers() const { return markers; }

    /// What a marker's number covers, in pixels.
    juce::Rectangle<float> getNumberBounds(const AxisMarker& marker) const;

    void paint(juce::Graphics& graphics) override;
    void resized() override;
    void lookAndFeelChanged() override;
    void colourChanged() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    bool isHorizontal() const { return placement == AxisPlacement::bottom; }

    int getPlotLength() const;
    juce::Rectangle<float> besidePlot(float along, float extent, float distance, float depth) const;
    void updateMarkers();
    void drawNumbers(juce::Graphics& graphics) const;
    void drawLabel(juce::Graphics& graphics) const;

    juce::Range<double> range{0.0, 1.0};
    AxisPlacement placement = AxisPlacement::left;
    std::shared_ptr<BaseValueMapping> mapping;
    juce::String label;
    std::vector<AxisMarker> markers;
};

} // namespace kalim::ui
