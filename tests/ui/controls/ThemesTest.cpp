#include "ui/themes/DarkTheme.h"
#include "ui/themes/SteelTheme.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

/// The relative luminance of the Web Content Accessibility Guidelines 2.1.
double getLuminance(juce::Colour colour)
{
    const auto linear = [](double value)
    { return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4); };
    return 0.2126 * linear(colour.getFloatRed()) + 0.7152 * linear(colour.getFloatGreen()) +
           0.0722 * linear(colour.getFloatBlue());
}

double getContrast(juce::Colour a, juce::Colour b)
{
    const double first = getLuminance(a) + 0.05;
    const double second = getLuminance(b) + 0.05;
    return first > second ? first / second : second / first;
}

void expectContrast(juce::Colour colour, juce::Colour ground, double least)
{
    EXPECT_GE(getContrast(colour, ground), least)
        << colour.toString() << " on " << ground.toString();
}

} // namespace

TEST(Themes, HaveTextValuesAndFocusThatCanBeSeen)
{
    for (const Palette& palette : {DarkTheme::makePalette(), SteelTheme::makePalette()})
    {
        for (const Tone& tone :
             {palette.window, palette.header, palette.control, palette.toggled, palette.field,
              palette.display, palette.menu, palette.highlight, palette.tooltip, palette.selection})
            expectContrast(tone.text, tone.ground, 4.5);
        for (const Tone& tone :
             {palette.window, palette.header, palette.field, palette.display, palette.menu,
              palette.highlight, palette.tooltip, palette.selection})
            expectContrast(tone.disabledText, tone.ground, 3.0);
        expectContrast(palette.control.disabledText, palette.disabledControl, 3.0);
        expectContrast(palette.toggled.disabledText, palette.disabledToggled, 3.0);
        for (const juce::Colour ground : {palette.hoveredControl, palette.pressedControl})
            expectContrast(palette.control.text, ground, 4.5);
        for (const juce::Colour ground : {palette.window.ground, palette.menu.ground})
            expectContrast(palette.secondaryText, ground, 4.5);
        expectContrast(palette.pointer, palette.knob, 3.0);
        expectContrast(palette.accent, palette.track, 3.0);
        for (const juce::Colour ground :
             {palette.window.ground, palette.control.ground, palette.toggled.ground})
            expectContrast(ground.getPerceivedBrightness() > 0.5F ? palette.focusOnLight
                                                                  : palette.focusOnDark,
                           ground, 3.0);
    }
}

TEST(Themes, PaintTheWholeBackgroundAtEveryScale)
{
    DarkTheme dark;
    SteelTheme steel;
    for (BaseTheme* const theme : std::initializer_list<BaseTheme*>{&dark, &steel})
        for (const float scale : {1.0F, 1.25F, 1.5F, 2.0F})
        {
            const auto size = static_cast<int>(std::ceil(101.0F * scale));
            juce::Image image(juce::Image::ARGB, size, size, true);
            {
                juce::Graphics g(image);
                g.addTransform(juce::AffineTransform::scale(scale));
                theme->paintBackground(g, 101, 101);
            }
            // The last pixel may lie half outside.
            EXPECT_EQ(image.getPixelAt(size - 2, size - 2).getAlpha(), 255) << scale;
            EXPECT_EQ(image.getPixelAt(0, 0).getAlpha(), 255) << scale;
        }
}
