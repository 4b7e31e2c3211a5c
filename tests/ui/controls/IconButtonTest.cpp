#include "ui/controls/IconButton.h"

#include "ui/themes/DarkTheme.h"

#include <gtest/gtest.h>

namespace
{

class CountedDrawable : public juce::DrawableComposite
{
public:
    explicit CountedDrawable(int& aliveCount)
        : count(aliveCount)
    {
        ++count;
    }

    ~CountedDrawable() override { --count; }

private:
    int& count;
};

} // namespace

TEST(IconButton, OwnsItsIcon)
{
    const juce::ScopedJuceInitialiser_GUI framework;
    int alive = 0;
    {
        IconButton button("button");
        auto* const icon = std::make_unique<CountedDrawable>(alive).release();
        button.setIcon(icon);
        button.setIcon(icon);
        EXPECT_EQ(alive, 1);
        button.setIcon(std::make_unique<CountedDrawable>(alive).release());
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(IconButton, PaintsItsIconInTheTextColourOfTheTheme)
{
    const juce::ScopedJuceInitialiser_GUI framework;
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
