#include "ui/plot/Axis.h"

#include "ui/plot/PlotColours.h"

namespace kalim::ui
{
namespace
{

// In pixels.
constexpr float tickLength = 4.0F;
constexpr float tickDistance = 3.0F;
constexpr float numberHeight = 11.0F;
constexpr float labelHeight = 12.0F;

/// Numbers closer than this run together, beside and above each other.
constexpr double numberGap = 10.0;
constexpr double numberLeading = 17.0;

juce::Font numberFont()
{
    return {numberHeight};
}

float widthOf(const juce::String& number)
{
    return numberFont().getStringWidthFloat(number);
}

} // namespace

Axis::Axis(const juce::String& name)
    : juce::Component(name)
    , mapping(std::make_shared<IdentityValueMapping>())
{
    setInterceptsMouseClicks(false, false);
    updateMarkers();
}

void Axis::setValueRange(juce::Range<double> newRange)
{
    if (range == newRange)
        return;
    range = newRange;
    updateMarkers();
}

void Axis::setPlacement(AxisPlacement newPlacement)
{
    placement = newPlacement;
    updateMarkers();
}

void Axis::setValueMapping(std::shared_ptr<BaseValueMapping> newMapping)
{
    if (newMapping == nullptr)
        newMapping = std::make_shared<IdentityValueMapping>();
    mapping = std::move(newMapping);
    updateMarkers();
}

void Axis::setLabelText(const juce::String& newText)
{
    label = newText;
    updateMarkers();
}

std::vector<double> Axis::getCurrentMarkerPositions() const
{
    std::vector<double> positions;
    positions.reserve(markers.size());
    for (const AxisMarker& marker : markers)
        positions.push_back(marker.position);
    return positions;
}

juce::Rectangle<float> Axis::getNumberBounds(const AxisMarker& marker) const
{
    const auto along = static_cast<float>(endMargin + marker.position * getPlotLength());
    const float width = widthOf(marker.text);
    const float distance = tickLength + tickDistance;
    return isHorizontal() ? besidePlot(along, width, distance, numberHeight)
                          : besidePlot(along, numberHeight, distance, width);
}

int Axis::getPlotLength() const
{
    return juce::jmax(0, (isHorizontal() ? getWidth() : getHeight()) - 2 * endMargin);
}

/// A rectangle of `extent` along the axis, centred on `along`, at a distance from the plot.
juce::Rectangle<float> Axis::besidePlot(float along, float extent, float distance,
                                        float depth) const
{
    const auto width = static_cast<float>(getWidth());
    const auto height = static_cast<float>(getHeight());
    const float start = along - extent / 2.0F;
    if (isHorizontal())
        return {start, distance, extent, depth};
    return {width - distance - depth, height - along - extent / 2.0F, depth, extent};
}

void Axis::updateMarkers()
{
    if (isHorizontal())
        markers = chooseAxisMarkers(range, *mapping, getPlotLength(), numberGap, widthOf);
    else
        markers = chooseAxisMarkers(range, *mapping, getPlotLength(), numberLeading,
                                    [](const juce::String&) { return double{numberHeight}; });
    setTitle(label);
    setDescription(markers.empty()
                       ? juce::String()
                       : markers.front().text + juce::String::fromUTF8(" \xe2\x80\xa6 ") +
                             markers.back().text);
    repaint();
}

void Axis::paint(juce::Graphics& graphics)
{
    const juce::Colour text =
        findColourOr(*this, PlotColours::axisTextId, juce::Colour(0xffb4b8be));
    graphics.setColour(
        findColourOr(*this, PlotColours::axisLineId, text.withMultipliedAlpha(0.6F)));
    for (const AxisMarker& marker : markers)
    {
        const auto along = static_cast<float>(endMargin + marker.position * getPlotLength());
        graphics.fillRect(besidePlot(along, 1.0F, 0.0F, tickLength));
    }
    graphics.setColour(text);
    drawNumbers(graphics);
    drawLabel(graphics);
}

void Axis::drawNumbers(juce::Graphics& graphics) const
{
    graphics.setFont(numberFont());
    for (const AxisMarker& marker : markers)
    {
        const juce::Rectangle<float> bounds = getNumberBounds(marker);
        // Numbers of a vertical axis are as wide as they need, or less in a narrow axis.
        const juce::Rectangle<float> room = bounds.getIntersection(getLocalBounds().toFloat());
        graphics.drawFittedText(marker.text,
                                room.expanded(1.0F, 2.0F).getSmallestIntegerContainer(),
                                juce::Justification::centred, 1, 0.7F);
    }
}

void Axis::drawLabel(juce::Graphics& graphics) const
{
    const auto width = static_cast<float>(getWidth());
    const auto height = static_cast<float>(getHeight());
    const float depth = isHorizontal() ? height : width;
    const float along = isHorizontal() ? width : height;
    if (label.isEmpty() || depth < tickLength + tickDistance + numberHeight + labelHeight)
        return;
    juce::Graphics::ScopedSaveState state(graphics);
    if (!isHorizontal())
        graphics.addTransform(juce::AffineTransform::rotation(-juce::MathConstants<float>::halfPi)
                                  .translated(0, height));
    const juce::Rectangle<float> room(0.0F, isHorizontal() ? height - labelHeight - 3.0F : 0.0F,
                                      along, labelHeight + 2.0F);
    graphics.setFont(juce::Font(labelHeight));
    graphics.drawText(label, room, juce::Justification::centred, true);
}

void Axis::resized()
{
    updateMarkers();
}

void Axis::lookAndFeelChanged()
{
    updateMarkers();
}

void Axis::colourChanged()
{
    repaint();
}

std::unique_ptr<juce::AccessibilityHandler> Axis::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler>(*this, juce::AccessibilityRole::staticText);
}

} // namespace kalim::ui
