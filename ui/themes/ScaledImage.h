#pragma once

#include <juce_graphics/juce_graphics.h>

/// A picture that is costly to paint, kept for the size and the screen's scale it was last shown
/// at, so that it is as sharp as if it were painted anew.
class ScaledImage
{
public:
    /// Shows the picture with its top left corner at the origin. `make` takes a width and a height
    /// in physical pixels and the pixels per unit and gives the picture.
    template <typename Maker>
    void draw(juce::Graphics& g, int width, int height, Maker&& make)
    {
        const float newScale = g.getInternalContext().getPhysicalPixelScaleFactor();
        const int pixelWidth = juce::roundToInt(std::ceil(static_cast<float>(width) * newScale));
        const int pixelHeight = juce::roundToInt(std::ceil(static_cast<float>(height) * newScale));
        if (pixelWidth <= 0 || pixelHeight <= 0)
            return;
        if (image.getWidth() != pixelWidth || image.getHeight() != pixelHeight ||
            !juce::approximatelyEqual(scale, newScale))
        {
            scale = newScale;
            image = make(pixelWidth, pixelHeight, scale);
        }
        g.setOpacity(1.0F);
        g.drawImageTransformed(image, juce::AffineTransform::scale(1.0F / scale));
    }

private:
    juce::Image image;
    float scale = 1.0F;
};
