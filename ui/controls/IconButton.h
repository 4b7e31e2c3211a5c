#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>

namespace kalim::ui
{

/// A button that shows a picture of 24 x 24 units instead of its text. Pictures are drawn in black
/// and shown in the colour of the theme's button text.
class IconButton : public juce::Button
{
public:
    explicit IconButton(const juce::String& buttonName);
    ~IconButton() override;

    /// Takes ownership. Null brings the button's text back.
    void setIcon(juce::Drawable* icon);

    /// The tooltip says what the button does, and is therefore its title too.
    void setTooltip(const juce::String& newTooltip) override;

    void paintButton(juce::Graphics& g, bool isHighlighted, bool isDown) override;

private:
    std::unique_ptr<juce::Drawable> icon;
    /// What the icon is painted in at present.
    juce::Colour iconColour;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(IconButton)
};

} // namespace kalim::ui
