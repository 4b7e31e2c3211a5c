#include "ui/controls/IconButton.h"

#include "ui/themes/DarkTheme.h"

#include <gtest/gtest.h>

TEST(IconButton, OwnsItsIcon)
{
    using Icon = juce::Component::SafePointer<juce::Drawable>;
    auto button = std::make_unique<IconButton>("button");
    const Icon first(std::make_unique<juce::DrawableComposite>().release());
    const Icon second(std::make_unique<juce::DrawableComposite>().release());
    button->setIcon(first);
    button->setIcon(first);
    EXPECT_NE(first, nullptr);
    button->setIcon(second);
    EXPECT_EQ(first, nullptr);
    button.reset();
    EXPECT_EQ(second, nullptr);
}

TEST(IconButton, PaintsItsIconInTheTextColourOfTheTheme)
{
    DarkTheme theme;
    IconButton button("button");
    button.setLookAndFeel(&theme);
    button.setSize(24, 24);
    auto square = std::make_unique<juce::DrawableRectangle>();
    square->setRectangle(juce::Rectangle<float>(8.0F, 8.0F, 8.0F, 8.0F));
    square->setFill(juce::Colours::black);
    button.setIcon(square.release());
    const Palette& palette = theme.getPalette();
    const auto getCentre = [&button]
    { return button.createComponentSnapshot(button.getLocalBounds()).getPixelAt(12, 12); };

    EXPECT_EQ(getCentre(), palette.control.text);
    button.setToggleState(true, juce::dontSendNotification);
    EXPECT_EQ(getCentre(), palette.toggled.text);
    button.setEnabled(false);
    EXPECT_EQ(getCentre(), palette.toggled.disabledText);
    button.setLookAndFeel(nullptr);
}
