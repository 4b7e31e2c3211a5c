#pragma once

#include <cairo.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kalim::program
{

/// Kinds of picture files.
enum class PictureKind
{
    png,
    svg
};

/// A rectangle in points of the picture, y downwards.
struct PlotArea
{
    double left;
    double top;
    double right;
    double bottom;

    double getWidth() const { return right - left; }

    double getHeight() const { return bottom - top; }
};

/// Red, green, blue and opacity from 0 to 1.
struct PlotColour
{
    double red;
    double green;
    double blue;
    double opacity = 1;
};

/// Rows of pixels, from the top, as 0xRRGGBB.
struct PlotImage
{
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;
};

/// How a piece of text looks; the size is in points.
struct TextStyle
{
    double size;
    PlotColour colour;
    bool isBold = false;
};

/// Which part of a text stands at its x position.
enum class TextAnchor
{
    start,
    middle,
    end
};

/// A white sheet to draw on, which becomes a PNG (at twice the size, for crisp text) or SVG.
class PlotCanvas
{
public:
    /// Width and height in points.
    PlotCanvas(PictureKind kind, double width, double height);

    cairo_t* getContext() const { return drawing.get(); }

    void setColour(const PlotColour& colour) const;
    void strokeLine(double x1, double y1, double x2, double y2) const;

    /// Stretches the image over the area.
    void drawImage(const PlotImage& image, const PlotArea& area) const;

    /// Baseline at y.
    void drawText(const std::string& text, double x, double y, const TextStyle& style,
                  TextAnchor anchor = TextAnchor::start) const;

    double widthOf(const std::string& text, const TextStyle& style) const;

    /// The text, or its beginning with an ellipsis if it is wider than that.
    std::string shortened(const std::string& text, const TextStyle& style, double width) const;

    /// The finished picture file; nothing can be drawn afterwards. Throws std::runtime_error if
    /// anything went wrong since the beginning.
    std::vector<std::byte> finish();

private:
    struct SurfaceCloser
    {
        void operator()(cairo_surface_t* closing) const { cairo_surface_destroy(closing); }
    };

    struct ContextCloser
    {
        void operator()(cairo_t* closing) const { cairo_destroy(closing); }
    };

    void setStyle(const TextStyle& style) const;

    std::vector<std::byte> bytes;
    PictureKind kind;
    std::unique_ptr<cairo_surface_t, SurfaceCloser> surface;
    std::unique_ptr<cairo_t, ContextCloser> drawing;
};

} // namespace kalim::program
