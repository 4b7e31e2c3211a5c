#include "ui/plot/PlotStrokes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace kalim::ui
{
namespace
{

/// Slices of a column of pixels.
constexpr int slices = 3;

/// Half the diagonal of a square by half the side of another: the corners of the pen, an octagon.
constexpr float diagonal = 0.70710678F;

/// The colour at every degree of coverage.
using Shades = std::array<juce::PixelARGB, 256>;

Shades shadesOf(juce::Colour colour)
{
    Shades shades;
    for (size_t i = 0; i < shades.size(); ++i)
        shades[i] = colour.withMultipliedAlpha(static_cast<float>(i) / 255.0F).getPixelARGB();
    return shades;
}

/// Adds up the changes down a column, paints the pixels and leaves no changes behind.
template <typename Pixel>
void paintColumn(const juce::Image::BitmapData& pixels, int column, juce::Range<int> rows,
                 std::vector<float>& changes, const Shades& shades)
{
    float coverage = 0.0F;
    for (int row = rows.getStart(); row < rows.getEnd(); ++row)
    {
        float& change = changes[static_cast<size_t>(row)];
        coverage += change;
        change = 0.0F;
        const auto shade =
            static_cast<size_t>(juce::jlimit(0.0F, 255.0F, coverage * 255.0F + 0.5F));
        if (row < pixels.height && shade > 0)
            reinterpret_cast<Pixel*>(pixels.getPixelPointer(column, row))->blend(shades[shade]);
    }
}

/// Covers from an exact height downwards with a weight, or with a negative one ends that.
void change(std::vector<float>& changes, float height, float weight)
{
    const float row = std::floor(height);
    const float within = height - row;
    changes[static_cast<size_t>(row)] += weight * (1.0F - within);
    changes[static_cast<size_t>(row) + 1] += weight * within;
}

} // namespace

void GraphStroke::Span::include(Span other)
{
    top = std::min(top, other.top);
    bottom = std::max(bottom, other.bottom);
}

void GraphStroke::draw(juce::Image& image, const std::vector<juce::Point<float>>& points,
                       float thickness, juce::Colour colour)
{
    const float radius = thickness / 2.0F;
    margin = static_cast<int>(std::ceil(radius * slices)) + 1;
    sample(points, image.getWidth());
    paintColumns(image, colour, [&](int slice) { return penSpan(slice, radius); });
}

void GraphStroke::fillBelow(juce::Image& image, const std::vector<juce::Point<float>>& points,
                            juce::Colour colour)
{
    margin = 0;
    sample(points, image.getWidth());
    const auto bottom = static_cast<float>(image.getHeight());
    paintColumns(
        image, colour,
        [&](int slice)
        {
            const Span span = line[static_cast<size_t>(slice)];
            // Infinite where there is no line.
            return Span{span.bottom < span.top ? bottom : (span.top + span.bottom) / 2.0F, bottom};
        });
}

template <typename GetSpan>
void GraphStroke::paintColumns(juce::Image& image, juce::Colour colour, const GetSpan& getSpan)
{
    const juce::Image::BitmapData pixels(image, juce::Image::BitmapData::readWrite);
    const auto paint = pixels.pixelFormat == juce::Image::ARGB ? paintColumn<juce::PixelARGB>
                                                               : paintColumn<juce::PixelRGB>;
    const Shades shades = shadesOf(colour);
    changes.assign(static_cast<size_t>(pixels.height) + 2, 0.0F);
    for (int column = 0; column < pixels.width; ++column)
        paint(pixels, column, coverColumn(column, pixels.height, getSpan), changes, shades);
}

void GraphStroke::sample(const std::vector<juce::Point<float>>& points, int width)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    line.assign(static_cast<size_t>(width) * slices + 2 * static_cast<size_t>(margin),
                {infinity, -infinity});
    for (size_t i = 1; i < points.size(); ++i)
        sampleLine(points[i - 1], points[i]);
}

void GraphStroke::sampleLine(juce::Point<float> from, juce::Point<float> to)
{
    const auto last = static_cast<float>(line.size()) - 1.0F;
    const auto toSlices = [this](float x) { return x * slices + static_cast<float>(margin); };
    const float start = toSlices(from.x);
    const float end = toSlices(to.x);
    if (end < 0.0F || start > last)
        return;
    const float slope = end > start ? (to.y - from.y) / (end - start) : 0.0F;
    const auto lastSlice = static_cast<int>(std::min(end, last));
    for (int slice = static_cast<int>(std::max(start, 0.0F)); slice <= lastSlice; ++slice)
    {
        const auto left = static_cast<float>(slice);
        const float entry = left <= start ? from.y : from.y + slope * (left - start);
        const float exit = left + 1.0F >= end ? to.y : from.y + slope * (left + 1.0F - start);
        line[static_cast<size_t>(slice)].include({std::min(entry, exit), std::max(entry, exit)});
    }
}

/// What the line takes up in the slices around one, and further up and down.
GraphStroke::Span GraphStroke::reach(int slice, int slicesAround, float further) const
{
    Span span = line[static_cast<size_t>(slice)];
    for (int i = slice - slicesAround; i <= slice + slicesAround; ++i)
        span.include(line[static_cast<size_t>(i)]);
    return {span.top - further, span.bottom + further};
}

/// What a pen of eight corners touches in a slice while its middle follows the line.
GraphStroke::Span GraphStroke::penSpan(int slice, float radius) const
{
    // The slice itself is part of the pen's width.
    const float width = radius * slices - 0.5F;
    Span span = reach(slice, 0, radius);
    span.include(
        reach(slice, juce::jmax(0, juce::roundToInt(width * diagonal)), radius * diagonal));
    span.include(reach(slice, juce::jmax(0, juce::roundToInt(width)), 0.0F));
    return span;
}

/// Enters a column's coverage and returns its rows, of which the last may lie below the image.
template <typename GetSpan>
juce::Range<int> GraphStroke::coverColumn(int column, int height, const GetSpan& getSpan)
{
    const auto bottom = static_cast<float>(height);
    juce::Range<int> rows;
    for (int i = 0; i < slices; ++i)
    {
        Span span = getSpan(margin + column * slices + i);
        span = {juce::jlimit(0.0F, bottom, span.top), juce::jlimit(0.0F, bottom, span.bottom)};
        if (span.isEmpty())
            continue;
        change(changes, span.top, 1.0F / slices);
        change(changes, span.bottom, -1.0F / slices);
        const juce::Range<int> covered(static_cast<int>(span.top),
                                       static_cast<int>(span.bottom) + 2);
        rows = rows.isEmpty() ? covered : rows.getUnionWith(covered);
    }
    return rows;
}

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

} // namespace kalim::ui
