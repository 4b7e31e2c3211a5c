#pragma once

#include <juce_graphics/juce_graphics.h>
#include <vector>

namespace kalim::ui
{

/// Draws the line of a graph, which has one height at every x, smoothly into an image. A noisy
/// spectrum crosses many pixel rows in every column, which makes the outline of its line expensive
/// to fill as a path. Here each column of pixels is split into slices, each slice is covered from
/// the highest to the lowest place that the line's pen touches in it, and a pixel gets the share of
/// its slices that are covered: about ten times as fast for the same picture.
class GraphStroke
{
public:
    /// Points are finite, in ascending order of x and in pixels from the image's upper left corner.
    /// The image is stored in memory as RGB or ARGB.
    void draw(juce::Image& image, const std::vector<juce::Point<float>>& points, float thickness,
              juce::Colour colour);

    /// Fills what lies below the line, down to the image's lower edge.
    void fillBelow(juce::Image& image, const std::vector<juce::Point<float>>& points,
                   juce::Colour colour);

private:
    /// A part of a slice from top to bottom.
    struct Span
    {
        float top;
        float bottom;

        bool isEmpty() const { return !(top < bottom); }

        void include(Span other);
    };

    void sample(const std::vector<juce::Point<float>>& points, int width);
    void sampleLine(juce::Point<float> from, juce::Point<float> to);
    Span penSpan(int slice, float radius) const;
    Span reach(int slice, int slicesAround, float further) const;
    template <typename GetSpan>
    void paintColumns(juce::Image& image, juce::Colour colour, const GetSpan& getSpan);
    template <typename GetSpan>
    juce::Range<int> coverColumn(int column, int height, const GetSpan& getSpan);

    /// Where the line is in each slice, with some slices more at either side of the image.
    std::vector<Span> line;
    int margin = 0;
    /// By how much the coverage changes from a row to the next in the column that is drawn.
    std::vector<float> changes;
};

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

} // namespace kalim::ui
