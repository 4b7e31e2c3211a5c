#pragma once

#include <juce_graphics/juce_graphics.h>
#include <vector>

/// A line that marks a place on the horizontal axis.
struct MarkerLine
{
    /// Normalised: 0 is the left edge of the picture, 1 the right one.
    float x = 0.0F;
    juce::Colour colour;
    /// Dashed with an open cap, or else solid with a filled one.
    bool isDashed = false;

    bool operator==(const MarkerLine& other) const = default;
};

/// Draws lines from the top to the bottom of a picture, in pixels of the picture, of which `scale`
/// make one pixel of the design. Lines are in ascending order of x: where neighbours are near each
/// other, caps get narrower.
void drawMarkerLines(juce::Graphics& graphics, juce::Rectangle<int> picture, float scale,
                     const std::vector<MarkerLine>& lines);
