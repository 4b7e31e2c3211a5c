#include "ui/plot/PlotColours.h"

#include <cmath>

namespace kalim::ui
{
namespace
{

/// Pure signal colours glare next to a calm background.
constexpr float highestSaturation = 0.68F;

constexpr double evenContrast = 4.5;

/// What the Web Content Accessibility Guidelines 2.1 ask of graphical objects.
constexpr double legibleContrast = 3.0;

double linear(juce::uint8 channel)
{
    const double value = channel / 255.0;
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double luminance(juce::Colour colour)
{
    return 0.2126 * linear(colour.getRed()) + 0.7152 * linear(colour.getGreen()) +
           0.0722 * linear(colour.getBlue());
}

/// Moves the lightness away from the background's, from `lightness` on, until the contrast is
/// there.
juce::Colour withContrast(float hue, float saturation, float lightness, juce::Colour background,
                          double contrast)
{
    const bool isDark = contrastBetween(background, juce::Colours::white) >
                        contrastBetween(background, juce::Colours::black);
    const float step = isDark ? 0.02F : -0.02F;
    juce::Colour colour = juce::Colour::fromHSL(hue, saturation, lightness, 1.0F);
    while (contrastBetween(colour, background) < contrast && lightness > 0.0F && lightness < 1.0F)
    {
        lightness = juce::jlimit(0.0F, 1.0F, lightness + step);
        colour = juce::Colour::fromHSL(hue, saturation, lightness, 1.0F);
    }
    return colour;
}

} // namespace

juce::Colour findColourOr(const juce::Component& component, int colourId, juce::Colour otherwise)
{
    if (component.isColourSpecified(colourId) ||
        component.getLookAndFeel().isColourSpecified(colourId))
        return component.findColour(colourId);
    return otherwise;
}

double contrastBetween(juce::Colour first, juce::Colour second)
{
    const double one = luminance(first) + 0.05;
    const double other = luminance(second) + 0.05;
    return juce::jmax(one, other) / juce::jmin(one, other);
}

juce::Colour legibleShade(juce::Colour colour, juce::Colour background)
{
    if (contrastBetween(colour, background) >= legibleContrast)
        return colour;
    return withContrast(colour.getHue(), colour.getSaturationHSL(), colour.getLightness(),
                        background, legibleContrast);
}

juce::Colour evenShade(juce::Colour colour, juce::Colour background)
{
    // From the background's own lightness on, so that every hue stops at the same contrast.
    return withContrast(colour.getHue(), juce::jmin(colour.getSaturationHSL(), highestSaturation),
                        juce::jlimit(0.02F, 0.98F, background.getLightness()), background,
                        evenContrast);
}

} // namespace kalim::ui
