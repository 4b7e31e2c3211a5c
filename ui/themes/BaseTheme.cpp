#include "ui/themes/BaseTheme.h"

namespace
{

constexpr float titleHeight = 21.0F;

/// The logo ends at 88; the line between it and the title stands in the middle of the gap.
constexpr float titleLineX = 100.0F;
constexpr float titleX = 112.0F;

juce::LookAndFeel_V4::ColourScheme makeScheme(const Palette& palette)
{
    return {palette.window.ground,  palette.field.ground,     palette.menu.ground,
            palette.outline,        palette.window.text,      palette.accent,
            palette.highlight.text, palette.highlight.ground, palette.menu.text};
}

} // namespace

BaseTheme::BaseTheme(const Palette& themePalette)
    : juce::LookAndFeel_V4(makeScheme(themePalette))
    , palette(themePalette)
{
    setTextColours();
    setControlColours();
    setWindowColours();
    // The framework asks only its default look for typefaces, also for components with another.
    juce::LookAndFeel::getDefaultLookAndFeel().setDefaultSansSerifTypeface(fonts->getRegular());
}

BaseTheme::~BaseTheme() = default;

float BaseTheme::getTitleWidth(const juce::String& title) const
{
    return getSemiBoldFont(titleHeight).getStringWidthFloat(title);
}

void BaseTheme::drawHeaderTitle(juce::Graphics& g, int height, const juce::String& title) const
{
    g.setColour(palette.header.text.withAlpha(0.25F));
    g.fillRect(juce::Rectangle<float>(titleLineX, 10.0F, 1.0F, static_cast<float>(height) - 20.0F));
    g.setColour(palette.header.text);
    g.setFont(getSemiBoldFont(titleHeight));
    const float width = getTitleWidth(title) + 2.0F;
    g.drawText(title, juce::Rectangle<float>(titleX, 0.0F, width, static_cast<float>(height)),
               juce::Justification::centredLeft, false);
}

juce::Font BaseTheme::getRegularFont(float height) const
{
    return juce::Font(fonts->getRegular()).withHeight(height);
}

juce::Font BaseTheme::getSemiBoldFont(float height) const
{
    return juce::Font(fonts->getSemiBold()).withHeight(height);
}

juce::Font BaseTheme::getThemedFont(const juce::Font& font) const
{
    if (font.getTypefaceName() != juce::Font::getDefaultSansSerifFontName())
        return font;
    return font.isBold() ? getSemiBoldFont(font.getHeight()) : getRegularFont(font.getHeight());
}

juce::Typeface::Ptr BaseTheme::getTypefaceForFont(const juce::Font& font)
{
    if (font.getTypefaceName() == juce::Font::getDefaultSansSerifFontName())
        return font.isBold() ? fonts->getSemiBold() : fonts->getRegular();
    return juce::LookAndFeel_V4::getTypefaceForFont(font);
}

ControlState BaseTheme::getControlState(const juce::Component& component) const
{
    return {component.isEnabled(), component.isMouseOver(true), component.isMouseButtonDown(true),
            component.hasKeyboardFocus(false)};
}

juce::Colour BaseTheme::getControlGround(const ControlState& state, bool isOn) const
{
    if (!state.isEnabled)
        return isOn ? palette.disabledToggled : palette.disabledControl;
    const juce::Colour normal = isOn ? palette.toggled.ground : palette.control.ground;
    if (state.isPressed)
        return isOn ? normal.darker(0.12F) : palette.pressedControl;
    if (state.isHovered)
        return isOn ? normal.brighter(0.18F) : palette.hoveredControl;
    return normal;
}

juce::Colour BaseTheme::getFocusColour(juce::Colour ground) const
{
    return ground.getPerceivedBrightness() > 0.5F ? palette.focusOnLight : palette.focusOnDark;
}
