#include "ui/controls/IconButton.h"

#include "ui/themes/BaseTheme.h"

namespace kalim::ui
{
namespace
{

constexpr float iconSize = 24.0F;

juce::Colour findTextColour(const juce::Button& button)
{
    if (const auto* theme = dynamic_cast<BaseTheme*>(&button.getLookAndFeel()))
        return theme->getButtonTextColour(button);
    return button
        .findColour(button.getToggleState() ? juce::TextButton::textColourOnId
                                            : juce::TextButton::textColourOffId)
        .withMultipliedAlpha(button.isEnabled() ? 1.0F : 0.5F);
}

} // namespace

IconButton::IconButton(const juce::String& buttonName)
    : juce::Button(buttonName)
{
}

IconButton::~IconButton() = default;

void IconButton::setIcon(juce::Drawable* newIcon)
{
    if (newIcon == icon.get())
        return;
    icon.reset(newIcon);
    iconColour = juce::Colours::black;
    repaint();
}

void IconButton::setTooltip(const juce::String& newTooltip)
{
    juce::Button::setTooltip(newTooltip);
    setTitle(newTooltip);
}

void IconButton::paintButton(juce::Graphics& g, bool isHighlighted, bool isDown)
{
    const int groundId =
        getToggleState() ? juce::TextButton::buttonOnColourId : juce::TextButton::buttonColourId;
    getLookAndFeel().drawButtonBackground(g, *this, findColour(groundId), isHighlighted, isDown);
    const juce::Colour colour = findTextColour(*this);
    if (icon == nullptr)
    {
        g.setColour(colour);
        g.drawFittedText(getButtonText(), getLocalBounds().reduced(2), juce::Justification::centred,
                         1);
        return;
    }
    icon->replaceColour(iconColour, colour);
    iconColour = colour;
    // Unscaled where there is room, so that the lines lie on whole pixels.
    const auto width = static_cast<float>(getWidth());
    const auto height = static_cast<float>(getHeight());
    const float scale = juce::jmin(1.0F, width / iconSize, height / iconSize);
    const float x = (width - iconSize * scale) * 0.5F;
    const float y = (height - iconSize * scale) * 0.5F;
    icon->draw(g, 1.0F, juce::AffineTransform::scale(scale).translated(x, y));
}

} // namespace kalim::ui
