#include "ui/themes/BaseTheme.h"

#include "ui/plot/PlotColours.h"

namespace kalim::ui
{
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

ControlState askComponent(const juce::Component& component)
{
    return {component.isEnabled(), component.isMouseOver(true), component.isMouseButtonDown(true),
            component.hasKeyboardFocus(false)};
}

} // namespace

BaseTheme::BaseTheme(const Palette& themePalette)
    : juce::LookAndFeel_V4(makeScheme(themePalette))
    , palette(themePalette)
    , readState(askComponent)
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

juce::Path BaseTheme::makeKnobArc(juce::Point<float> centre, float radius, float from, float to)
{
    juce::Path arc;
    arc.addCentredArc(centre.x, centre.y, radius, radius, 0.0F, from, to, true);
    return arc;
}

void BaseTheme::setTextColours()
{
    setColour(juce::Label::textColourId, palette.window.text);
    setColour(juce::Label::textWhenEditingColourId, palette.field.text);
    setColour(juce::Label::backgroundWhenEditingColourId, palette.field.ground);
    setColour(juce::Label::outlineWhenEditingColourId, getFocusColour(palette.field.ground));
    setColour(juce::TextEditor::backgroundColourId, palette.field.ground);
    setColour(juce::TextEditor::textColourId, palette.field.text);
    setColour(juce::TextEditor::highlightColourId, palette.selection.ground);
    setColour(juce::TextEditor::highlightedTextColourId, palette.selection.text);
    setColour(juce::TextEditor::outlineColourId, palette.outline);
    setColour(juce::TextEditor::focusedOutlineColourId, getFocusColour(palette.field.ground));
    setColour(juce::CaretComponent::caretColourId, palette.field.text);
    setColour(PlotColours::axisTextId, palette.secondaryText);
    setColour(PlotColours::axisLineId, palette.secondaryText);
}

void BaseTheme::setControlColours()
{
    setColour(juce::TextButton::buttonColourId, palette.control.ground);
    setColour(juce::TextButton::buttonOnColourId, palette.toggled.ground);
    setColour(juce::TextButton::textColourOffId, palette.control.text);
    setColour(juce::TextButton::textColourOnId, palette.toggled.text);
    setColour(juce::ToggleButton::textColourId, palette.window.text);
    setColour(juce::ComboBox::textColourId, palette.control.text);
    setColour(juce::Slider::textBoxTextColourId, palette.display.text);
    setColour(juce::Slider::textBoxBackgroundColourId, palette.display.ground);
    setColour(juce::Slider::textBoxHighlightColourId, palette.selection.ground);
    setColour(juce::Slider::textBoxOutlineColourId, palette.outline);
}

void BaseTheme::setWindowColours()
{
    setColour(juce::ScrollBar::thumbColourId, palette.secondaryText);
    setColour(juce::ListBox::backgroundColourId, palette.field.ground);
    setColour(juce::FileBrowserComponent::currentPathBoxTextColourId, palette.control.text);
    setColour(juce::FileBrowserComponent::filenameBoxBackgroundColourId, palette.field.ground);
    setColour(juce::FileBrowserComponent::filenameBoxTextColourId, palette.field.text);
    setColour(juce::AlertWindow::backgroundColourId, palette.window.ground);
    setColour(PlotColours::backgroundId, palette.display.ground);
    setColour(PlotColours::gridId, palette.grid);
    setColour(PlotColours::outlineId, palette.outline);
}

} // namespace kalim::ui
