#include "kalim/report/PlotCanvas.h"

#include "base/Text.h"

#include <cairo-svg.h>

#include <cstring>
#include <stdexcept>

namespace kalim::program
{
namespace
{

constexpr double pngScale = 2;

cairo_status_t collect(void* target, const unsigned char* data, unsigned length)
{
    auto& bytes = *static_cast<std::vector<std::byte>*>(target);
    const auto* begin = reinterpret_cast<const std::byte*>(data);
    bytes.insert(bytes.end(), begin, begin + length);
    return CAIRO_STATUS_SUCCESS;
}

cairo_surface_t* createSurface(PictureKind kind, double width, double height,
                               std::vector<std::byte>& bytes)
{
    if (kind == PictureKind::png)
        return cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width * pngScale),
                                          static_cast<int>(height * pngScale));
    auto* surface = cairo_svg_surface_create_for_stream(collect, &bytes, width, height);
    cairo_svg_surface_set_document_unit(surface, CAIRO_SVG_UNIT_PX);
    return surface;
}

void removeLastCharacter(std::string& text)
{
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xc0) == 0x80)
        text.pop_back();
    if (!text.empty())
        text.pop_back();
}

} // namespace

PlotCanvas::PlotCanvas(PictureKind pictureKind, double width, double height)
    : kind(pictureKind)
    , surface(createSurface(pictureKind, width, height, bytes))
    , drawing(cairo_create(surface.get()))
{
    if (kind == PictureKind::png)
        cairo_scale(getContext(), pngScale, pngScale);
    setColour({1, 1, 1});
    cairo_paint(getContext());
}

void PlotCanvas::setColour(const PlotColour& colour) const
{
    cairo_set_source_rgba(getContext(), colour.red, colour.green, colour.blue, colour.opacity);
}

void PlotCanvas::strokeLine(double x1, double y1, double x2, double y2) const
{
    cairo_move_to(getContext(), x1, y1);
    cairo_line_to(getContext(), x2, y2);
    cairo_stroke(getContext());
}

void PlotCanvas::drawImage(const PlotImage& image, const PlotArea& area) const
{
    const std::unique_ptr<cairo_surface_t, SurfaceCloser> pixels(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, image.width, image.height));
    unsigned char* const rows = cairo_image_surface_get_data(pixels.get());
    if (rows == nullptr)
        throw std::runtime_error(cairo_status_to_string(cairo_surface_status(pixels.get())));
    const auto rowLength = static_cast<std::size_t>(image.width) * sizeof(image.pixels[0]);
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(pixels.get()));
    for (std::size_t row = 0; row < static_cast<std::size_t>(image.height); ++row)
        std::memcpy(rows + row * stride, &image.pixels[row * static_cast<std::size_t>(image.width)],
                    rowLength);
    cairo_surface_mark_dirty(pixels.get());
    cairo_save(getContext());
    cairo_translate(getContext(), area.left, area.top);
    cairo_scale(getContext(), area.getWidth() / image.width, area.getHeight() / image.height);
    cairo_set_source_surface(getContext(), pixels.get(), 0, 0);
    // Others would let the edges fade into the paper.
    cairo_pattern_set_filter(cairo_get_source(getContext()), CAIRO_FILTER_NEAREST);
    cairo_paint(getContext());
    cairo_restore(getContext());
}

void PlotCanvas::setStyle(const TextStyle& style) const
{
    cairo_select_font_face(getContext(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           style.isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(getContext(), style.size);
    setColour(style.colour);
}

double PlotCanvas::widthOf(const std::string& text, const TextStyle& style) const
{
    setStyle(style);
    cairo_text_extents_t extents{};
    cairo_text_extents(getContext(), validUtf8(text).c_str(), &extents);
    return extents.x_advance;
}

void PlotCanvas::drawText(const std::string& text, double x, double y, const TextStyle& style,
                          TextAnchor anchor) const
{
    const double width = widthOf(text, style);
    const double share = anchor == TextAnchor::start ? 0 : anchor == TextAnchor::middle ? 0.5 : 1;
    cairo_move_to(getContext(), x - share * width, y);
    cairo_show_text(getContext(), validUtf8(text).c_str());
    cairo_new_path(getContext());
}

std::string PlotCanvas::shortened(const std::string& text, const TextStyle& style,
                                  double width) const
{
    auto result = validUtf8(text);
    if (widthOf(result, style) <= width)
        return result;
    while (!result.empty() && widthOf(result + "…", style) > width)
        removeLastCharacter(result);
    return result + "…";
}

std::vector<std::byte> PlotCanvas::finish()
{
    auto status = cairo_status(getContext());
    if (status == CAIRO_STATUS_SUCCESS && kind == PictureKind::png)
        status = cairo_surface_write_to_png_stream(surface.get(), collect, &bytes);
    cairo_surface_finish(surface.get());
    if (status == CAIRO_STATUS_SUCCESS)
        status = cairo_surface_status(surface.get());
    if (status != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(cairo_status_to_string(status));
    return bytes;
}

} // namespace kalim::program
