#include "ui/plot/MarkerLines.h"

#include <limits>

namespace
{

// In pixels of the design.
constexpr float capHeight = 8.0F;
constexpr float dashLength = 4.0F;

/// In thicknesses of a line, so that a ring stands up to a disc.
constexpr float ringThickness = 1.25F;

/// Lines stay behind the curve, caps in front: the eye finds the caps and follows the lines.
constexpr float lineAlpha = 0.42F;

int wholePixels(float size)
{
    return juce::jmax(1, juce::roundToInt(size));
}

/// What all lines of a picture have in common.
struct Brush
{
    Brush(juce::Graphics& graphicsToUse, juce::Rectangle<int> area, float scale)
        : graphics(graphicsToUse)
        , picture(area)
        , thickness(wholePixels(scale))
        , cap(wholePixels(capHeight * scale))
        , dash(wholePixels(dashLength * scale))
    {
        cap -= (cap - thickness) % 2;
    }

    /// The left edge of a line on whole pixels.
    int leftOf(float x) const
    {
        const float middle = x * static_cast<float>(picture.getWidth());
        const int left = juce::roundToInt(middle - static_cast<float>(thickness) / 2.0F);
        return picture.getX() + juce::jlimit(0, picture.getWidth() - thickness, left);
    }

    juce::Graphics& graphics;
    juce::Rectangle<int> picture;
    int thickness;
    int cap;
    int dash;
};

void drawLine(const Brush& brush, const MarkerLine& line, int left)
{
    brush.graphics.setColour(line.colour.withMultipliedAlpha(lineAlpha));
    const int top = brush.picture.getY() + brush.cap;
    const int bottom = brush.picture.getBottom();
    if (!line.isDashed)
    {
        brush.graphics.fillRect(left, top, brush.thickness, bottom - top);
        return;
    }
    for (int y = top + brush.dash / 2; y < bottom; y += 2 * brush.dash)
        brush.graphics.fillRect(left, y, brush.thickness, juce::jmin(brush.dash, bottom - y));
}

void drawOpenCap(const Brush& brush, juce::Rectangle<int> area)
{
    if (area.getWidth() < 3 * brush.thickness + 1)
    {
        // Too narrow for a hole: what is left are the upper and the lower end.
        const int end = juce::jmax(brush.thickness, (brush.cap + 2) / 4);
        brush.graphics.fillRect(area.withHeight(end));
        brush.graphics.fillRect(area.withTop(area.getBottom() - end));
        return;
    }
    const auto thickness = static_cast<float>(brush.thickness) * ringThickness;
    const juce::Rectangle<float> middle = area.toFloat().reduced(thickness / 2.0F);
    brush.graphics.drawRoundedRectangle(middle, middle.getWidth() / 2.0F, thickness);
}

void drawFilledCap(const Brush& brush, juce::Rectangle<int> area)
{
    const auto width = static_cast<float>(area.getWidth());
    brush.graphics.fillRoundedRectangle(area.toFloat(), width / 2.0F);
}

/// The width of a cap that leaves a line's thickness between it and its neighbours' caps. It is odd
/// or even as the thickness is, so that cap and line have the same middle.
int capWidth(const Brush& brush, int distanceToNeighbour)
{
    const int width =
        juce::jlimit(brush.thickness, brush.cap, distanceToNeighbour - brush.thickness);
    return width - (width - brush.thickness) % 2;
}

void drawCap(const Brush& brush, const MarkerLine& line, int left, int distanceToNeighbour)
{
    const int width = capWidth(brush, distanceToNeighbour);
    const juce::Rectangle<int> area(left - (width - brush.thickness) / 2, brush.picture.getY(),
                                    width, brush.cap);
    brush.graphics.setColour(line.colour);
    if (line.isDashed)
        drawOpenCap(brush, area);
    else
        drawFilledCap(brush, area);
}

} // namespace

void drawMarkerLines(juce::Graphics& graphics, juce::Rectangle<int> picture, float scale,
                     const std::vector<MarkerLine>& lines)
{
    const Brush brush(graphics, picture, scale);
    constexpr int none = std::numeric_limits<int>::max();
    int distanceToLast = none;
    for (size_t i = 0; i < lines.size(); ++i)
    {
        const int left = brush.leftOf(lines[i].x);
        const bool isLast = i + 1 == lines.size();
        const int distanceToNext = isLast ? none : brush.leftOf(lines[i + 1].x) - left;
        drawLine(brush, lines[i], left);
        drawCap(brush, lines[i], left, juce::jmin(distanceToLast, distanceToNext));
        distanceToLast = distanceToNext;
    }
}
