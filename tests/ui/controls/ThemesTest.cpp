#include "ui/themes/Themes.h"

#include "ui/controls/IconButton.h"
#include "ui/plot/PlotColours.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kalim::ui;

TEST(Themes, HaveTextValuesAndFocusThatCanBeSeen)
{
    EXPECT_DOUBLE_EQ(contrastBetween(juce::Colours::black, juce::Colours::white), 21.0);
    EXPECT_NEAR(contrastBetween(juce::Colour(0xff767676), juce::Colours::white), 4.54, 0.005);
    for (const Theme& theme : themes)
    {
        const std::unique_ptr<BaseTheme> made = theme.make();
        const Palette& p = made->getPalette();
        const auto expect = [&](double least, juce::Colour ink, juce::Colour ground)
        { EXPECT_GE(contrastBetween(ink, ground), least) << ink.toString() << ground.toString(); };
        for (const Tone& tone :
             {p.window, p.header, p.field, p.display, p.menu, p.highlight, p.tooltip, p.selection})
        {
            expect(4.5, tone.text, tone.ground);
            expect(3.0, tone.disabledText, tone.ground);
        }
        for (const juce::Colour ground : {p.control.ground, p.hoveredControl, p.pressedControl})
            expect(4.5, p.control.text, ground);
        expect(4.5, p.toggled.text, p.toggled.ground);
        expect(3.0, p.control.disabledText, p.disabledControl);
        expect(3.0, p.toggled.disabledText, p.disabledToggled);
        expect(4.5, p.secondaryText, p.window.ground);
        expect(4.5, p.secondaryText, p.menu.ground);
        expect(3.0, p.pointer, p.knob);
        expect(3.0, p.accent, p.track);
        for (const juce::Colour ground : {p.window.ground, p.control.ground, p.toggled.ground})
            expect(3.0, ground.getPerceivedBrightness() > 0.5F ? p.focusOnLight : p.focusOnDark,
                   ground);
    }
}

TEST(Themes, PaintTheWholeBackgroundAtEveryScale)
{
    for (const Theme& theme : themes)
        for (const float scale : {1.0F, 1.25F, 1.5F, 2.0F})
        {
            const auto size = static_cast<int>(std::ceil(101.0F * scale));
            juce::Image image(juce::Image::ARGB, size, size, true, juce::SoftwareImageType());
            juce::Graphics g(image);
            g.addTransform(juce::AffineTransform::scale(scale));
            theme.make()->paintBackground(g, 101, 101);
            // The last pixel may lie half outside.
            for (const int place : {0, size - 2})
                EXPECT_EQ(image.getPixelAt(place, place).getAlpha(), 255) << scale;
        }
}

TEST(Themes, ColourTheIconsOfButtons)
{
    const std::unique_ptr<BaseTheme> theme = makeDarkTheme();
    IconButton button("button");
    button.setLookAndFeel(theme.get());
    button.setSize(24, 24);
    auto square = std::make_unique<juce::DrawableRectangle>();
    square->setRectangle(juce::Rectangle<float>(8.0F, 8.0F, 8.0F, 8.0F));
    square->setFill(juce::Colours::black);
    button.setIcon(square.release());
    const Palette& palette = theme->getPalette();
    for (const juce::Colour colour : {palette.control.text, palette.toggled.text})
    {
        const juce::Image picture = button.createComponentSnapshot(button.getLocalBounds());
        EXPECT_EQ(picture.getPixelAt(12, 12), colour);
        button.setToggleState(true, juce::dontSendNotification);
    }
    button.setLookAndFeel(nullptr);
}
