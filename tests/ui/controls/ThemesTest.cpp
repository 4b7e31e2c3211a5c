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

void expectReadable(const Tone& tone, juce::Colour disabledGround, const char* name)
{
    EXPECT_GE(getContrast(tone.text, tone.ground), 4.5) << name;
    EXPECT_GE(getContrast(tone.disabledText, disabledGround), 3.0) << name;
}

class EveryTheme : public testing::TestWithParam<Palette>
{
};

} // namespace

TEST_P(EveryTheme, HasTextThatCanBeRead)
{
    const Palette& palette = GetParam();
    expectReadable(palette.window, palette.window.ground, "window");
    expectReadable(palette.header, palette.header.ground, "header");
    expectReadable(palette.control, palette.disabledControl, "control");
    expectReadable(palette.toggled, palette.disabledToggled, "toggled");
    expectReadable(palette.field, palette.field.ground, "field");
    expectReadable(palette.display, palette.display.ground, "display");
    expectReadable(palette.menu, palette.menu.ground, "menu");
    expectReadable(palette.highlight, palette.highlight.ground, "highlight");
    expectReadable(palette.tooltip, palette.tooltip.ground, "tooltip");
    expectReadable(palette.selection, palette.selection.ground, "selection");
    for (const juce::Colour ground : {palette.hoveredControl, palette.pressedControl})
        EXPECT_GE(getContrast(palette.control.text, ground), 4.5);
    for (const juce::Colour ground : {palette.window.ground, palette.menu.ground})
        EXPECT_GE(getContrast(palette.secondaryText, ground), 4.5);
}

TEST_P(EveryTheme, ShowsValuesAndFocusClearly)
{
    const Palette& palette = GetParam();
    EXPECT_GE(getContrast(palette.pointer, palette.knob), 3.0);
    EXPECT_GE(getContrast(palette.accent, palette.track), 3.0);
    for (const juce::Colour ground :
         {palette.window.ground, palette.control.ground, palette.toggled.ground})
    {
        const juce::Colour ring =
            ground.getPerceivedBrightness() > 0.5F ? palette.focusOnLight : palette.focusOnDark;
        EXPECT_GE(getContrast(ring, ground), 3.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Themes, EveryTheme,
                         testing::Values(DarkTheme::makePalette(), SteelTheme::makePalette()));

TEST(Themes, PaintTheWholeBackgroundAtEveryScale)
{
    const juce::ScopedJuceInitialiser_GUI framework;
    DarkTheme dark;
    SteelTheme steel;
    for (BaseTheme* const theme : {static_cast<BaseTheme*>(&dark), static_cast<BaseTheme*>(&steel)})
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
