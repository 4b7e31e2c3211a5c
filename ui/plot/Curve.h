#pragma once

#include <juce_graphics/juce_graphics.h>
#include <utility>
#include <vector>

/// A line through points of a plot. Message thread, as all of the plot.
struct Curve
{
    using Points = std::vector<juce::Point<float>>;

    Curve() = default;

    /// `points` are normalised: (0, 0) is the plot's lower left corner, (1, 1) its upper right one;
    /// points that are not finite are left out. `lineThickness` is in pixels. A transparent colour
    /// leaves the line or the filling away.
    Curve(Points curvePoints, juce::Colour fillColour, juce::Colour lineColour, float lineThickness)
        : points(std::move(curvePoints))
        , fill(fillColour)
        , line(lineColour)
        , thickness(lineThickness)
    {
    }

    bool operator==(const Curve& other) const = default;

    Points points;
    /// Between the line and the lower edge.
    juce::Colour fill;
    juce::Colour line;
    float thickness = 1.0F;
};
