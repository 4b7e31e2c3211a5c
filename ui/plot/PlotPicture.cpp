#include "ui/plot/PlotPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kalim::ui
{
namespace
{

/// Points farther out than this are drawn this far out: the line leaves the plot in nearly the same
/// direction, and no coordinate can overflow.
constexpr float farthestOut = 8.0F;

bool isInside(double position)
{
    return position >= 0.0 && position <= 1.0;
}

/// The first whole pixel of a line in the middle of which `position` lies.
int gridPixel(double position, int size, int thickness)
{
    const int first = juce::roundToInt(position * size - thickness / 2.0);
    return juce::jlimit(0, juce::jmax(0, size - thickness), first);
}

void copyPixels(const juce::Image& from, juce::Image& to)
{
    const juce::Image::BitmapData source(from, juce::Image::BitmapData::readOnly);
    const juce::Image::BitmapData target(to, juce::Image::BitmapData::writeOnly);
    for (int y = 0; y < source.height; ++y)
        std::memcpy(target.getLinePointer(y), source.getLinePointer(y),
                    static_cast<size_t>(source.width) * static_cast<size_t>(source.pixelStride));
}

} // namespace

void PlotPicture::setColours(const Colours& newColours)
{
    if (colours == newColours)
        return;
    colours = newColours;
    isBackdropCurrent = false;
}

void PlotPicture::setGrid(std::vector<double> horizontal, std::vector<double> vertical)
{
    horizontalGrid = std::move(horizontal);
    verticalGrid = std::move(vertical);
    isBackdropCurrent = false;
}

bool PlotPicture::setCurve(int index, const Curve& curve)
{
    const auto [place, isNew] = curves.try_emplace(index, curve);
    if (!isNew && place->second == curve)
        return false;
    place->second = curve;
    isPictureCurrent = false;
    return true;
}

void PlotPicture::setMarkerLines(const std::vector<MarkerLine>& newLines)
{
    if (lines == newLines)
        return;
    lines = newLines;
    isPictureCurrent = false;
}

void PlotPicture::draw(juce::Graphics& graphics, int width, int height, float scale)
{
    const auto pixelWidth = static_cast<int>(std::ceil(static_cast<float>(width) * scale - 0.01F));
    const auto pixelHeight =
        static_cast<int>(std::ceil(static_cast<float>(height) * scale - 0.01F));
    if (pixelWidth <= 0 || pixelHeight <= 0)
        return;
    if (scale != pixelScale || picture.getWidth() != pixelWidth ||
        picture.getHeight() != pixelHeight)
        isBackdropCurrent = false;
    pixelScale = scale;
    if (!isBackdropCurrent)
        renderBackdrop(pixelWidth, pixelHeight);
    if (!isPictureCurrent)
        renderPicture();
    graphics.setOpacity(1.0F);
    graphics.drawImageTransformed(picture, juce::AffineTransform::scale(1.0F / scale));
}

void PlotPicture::renderBackdrop(int width, int height)
{
    const auto format = colours.background.isOpaque() ? juce::Image::RGB : juce::Image::ARGB;
    if (backdrop.getWidth() != width || backdrop.getHeight() != height ||
        backdrop.getFormat() != format)
    {
        backdrop = juce::Image(format, width, height, true, juce::SoftwareImageType());
        picture = juce::Image(format, width, height, true, juce::SoftwareImageType());
    }
    backdrop.clear(backdrop.getBounds(), colours.background);
    juce::Graphics graphics(backdrop);
    drawGrid(graphics);
    isBackdropCurrent = true;
    isPictureCurrent = false;
}

void PlotPicture::drawGrid(juce::Graphics& graphics) const
{
    const int width = backdrop.getWidth();
    const int height = backdrop.getHeight();
    const int thickness = juce::jmax(1, static_cast<int>(pixelScale));
    graphics.setColour(colours.grid);
    for (const double position : horizontalGrid)
        if (isInside(position))
            graphics.fillRect(0, gridPixel(1.0 - position, height, thickness), width, thickness);
    for (const double position : verticalGrid)
        if (isInside(position))
            graphics.fillRect(gridPixel(position, width, thickness), 0, thickness, height);
    graphics.setColour(colours.outline);
    graphics.drawRect(0, 0, width, height, thickness);
}

void PlotPicture::renderPicture()
{
    copyPixels(backdrop, picture);
    {
        juce::Graphics graphics(picture);
        drawMarkerLines(graphics, picture.getBounds(), pixelScale, lines);
    }
    for (const auto& [index, curve] : curves)
        drawCurve(curve);
    isPictureCurrent = true;
}

void PlotPicture::drawCurve(const Curve& curve)
{
    finitePoints.clear();
    for (const juce::Point<float>& point : curve.points)
        if (point.isFinite())
            finitePoints.push_back(toPixels(point));
    if (finitePoints.size() < 2)
        return;
    const auto isLeftOf = [](juce::Point<float> a, juce::Point<float> b) { return a.x < b.x; };
    const bool isGraph = std::is_sorted(finitePoints.begin(), finitePoints.end(), isLeftOf);
    const float thickness = curve.thickness * pixelScale;
    if (!curve.fill.isTransparent())
    {
        if (isGraph)
            stroke.fillBelow(picture, finitePoints, curve.fill);
        else
            fillPath(curve);
    }
    if (!curve.line.isTransparent() && thickness > 0.0F)
    {
        if (isGraph)
            stroke.draw(picture, finitePoints, thickness, curve.line);
        else
            strokePath(curve, thickness);
    }
}

void PlotPicture::strokePath(const Curve& curve, float thickness)
{
    juce::Path path;
    path.startNewSubPath(finitePoints.front());
    for (const juce::Point<float>& point : finitePoints)
        path.lineTo(point);
    juce::Graphics graphics(picture);
    graphics.setColour(curve.line);
    graphics.strokePath(path, juce::PathStrokeType(thickness));
}

void PlotPicture::fillPath(const Curve& curve)
{
    const auto bottom = static_cast<float>(picture.getHeight());
    juce::Path path;
    path.preallocateSpace(static_cast<int>(finitePoints.size()) * 3 + 16);
    path.startNewSubPath(finitePoints.front().withY(bottom));
    for (const juce::Point<float>& point : finitePoints)
        path.lineTo(point);
    path.lineTo(finitePoints.back().withY(bottom));
    path.closeSubPath();
    juce::Graphics graphics(picture);
    graphics.setColour(curve.fill);
    graphics.fillPath(path);
}

juce::Point<float> PlotPicture::toPixels(juce::Point<float> normalised) const
{
    const float x = juce::jlimit(-farthestOut, farthestOut, normalised.x);
    const float y = juce::jlimit(-farthestOut, farthestOut, normalised.y);
    return {x * static_cast<float>(picture.getWidth()),
            (1.0F - y) * static_cast<float>(picture.getHeight())};
}

} // namespace kalim::ui
