#include "ui/themes/Themes.h"

#include "ui/plot/PlotColours.h"

#include <gtest/gtest.h>

using namespace kalim::ui;

TEST(Themes, HaveTextValuesAndFocusThatCanBeSeen)
{
    EXPECT_NEAR(contrastBetween(juce::Colour(0xff767676), juce::Colours::white), 4.54, 0.005);
    for (const Theme& theme : themes)
    {
        const Palette p = theme.make()->getPalette();
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
