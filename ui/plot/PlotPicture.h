#pragma once

#include "ui/plot/PlotStrokes.h"

#include <map>
#include <utility>

namespace kalim::ui
{

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

/// The picture of a plot without what can be grabbed: background, grid, marker lines and curves, in
/// the pixels of the screen. What has not changed is not drawn again, and the background with its
/// grid is kept apart, because the curves change 25 times a second and copying pixels is far
/// cheaper than filling them.
class PlotPicture
{
public:
    struct Colours
    {
        juce::Colour background;
        juce::Colour grid;
        juce::Colour outline;

        bool operator==(const Colours& other) const = default;
    };

    void setColours(const Colours& newColours);

    /// The heights of the horizontal lines and the places of the vertical ones, normalised; those
    /// outside 0 to 1 are left out.
    void setGrid(std::vector<double> horizontal, std::vector<double> vertical);

    /// Curves are drawn in ascending order of their numbers.
    /// Returns whether the curve differs from the one before.
    bool setCurve(int index, const Curve& curve);

    /// In ascending order of x.
    void setMarkerLines(const std::vector<MarkerLine>& newLines);

    /// Draws the picture with its upper left corner at the origin. `width` and `height` are in
    /// pixels of the design, `scale` of which are one pixel of the screen.
    void draw(juce::Graphics& graphics, int width, int height, float scale);

private:
    void renderBackdrop(int width, int height);
    void renderPicture();
    void drawGrid(juce::Graphics& graphics) const;
    void drawCurve(const Curve& curve);
    void fillPath(const Curve& curve);
    void strokePath(const Curve& curve, float thickness);
    juce::Point<float> toPixels(juce::Point<float> normalised) const;

    Colours colours;
    std::vector<double> horizontalGrid;
    std::vector<double> verticalGrid;
    std::map<int, Curve> curves;
    std::vector<MarkerLine> lines;
    float pixelScale = 1.0F;
    bool isBackdropCurrent = false;
    bool isPictureCurrent = false;
    juce::Image backdrop;
    juce::Image picture;
    GraphStroke stroke;
    Curve::Points finitePoints;
};

} // namespace kalim::ui
