#include "tools/kalim/report/PlotCanvas.h"

#include <cairo-svg.h>

#include <stdexcept>
#include <string_view>

namespace kalim::program
{
namespace
{

constexpr double pngScale = 2;
constexpr auto replacementSign = "\xef\xbf\xbd";

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

/// Bytes of the UTF-8 character at the start of the text, 0 if there is none.
std::size_t characterLength(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return 1;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80)
            return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    const bool isOverlong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
    const bool isBeyond = (first == 0xed && second > 0x9f) || (first == 0xf4 && second > 0x8f);
    return isOverlong || isBeyond ? 0 : length;
}

void removeLastCharacter(std::string& text)
{
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xc0) == 0x80)
        text.pop_back();
    if (!text.empty())
        text.pop_back();
}

} // namespace

std::string validUtf8(const std::string& text)
{
    std::string result;
    std::string_view rest(text);
    while (!rest.empty())
    {
        const auto length = characterLength(rest);
        result += length == 0 ? std::string_view(replacementSign) : rest.substr(0, length);
        rest.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

PlotCanvas::PlotCanvas(PictureKind pictureKind, double width, double height)
    : kind(pictureKind)
    , surface(createSurface(pictureKind, width, height, bytes))
    , drawing(cairo_create(surface.get()))
{
    if (kind == PictureKind::png)
        cairo_scale(context(), pngScale, pngScale);
    setColour({1, 1, 1});
    cairo_paint(context());
}

void PlotCanvas::setColour(const PlotColour& colour) const
{
    cairo_set_source_rgba(context(), colour.red, colour.green, colour.blue, colour.opacity);
}

void PlotCanvas::strokeLine(double x1, double y1, double x2, double y2) const
{
    cairo_move_to(context(), x1, y1);
    cairo_line_to(context(), x2, y2);
    cairo_stroke(context());
}

void PlotCanvas::setStyle(const TextStyle& style) const
{
    cairo_select_font_face(context(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           style.isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context(), style.size);
    setColour(style.colour);
}

double PlotCanvas::widthOf(const std::string& text, const TextStyle& style) const
{
    setStyle(style);
    cairo_text_extents_t extents{};
    cairo_text_extents(context(), validUtf8(text).c_str(), &extents);
    return extents.x_advance;
}

void PlotCanvas::drawText(const std::string& text, double x, double y, const TextStyle& style,
                          TextAnchor anchor) const
{
    const double width = widthOf(text, style);
    const double share = anchor == TextAnchor::start ? 0 : anchor == TextAnchor::middle ? 0.5 : 1;
    cairo_move_to(context(), x - share * width, y);
    cairo_show_text(context(), validUtf8(text).c_str());
    cairo_new_path(context());
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
    auto status = cairo_status(context());
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
