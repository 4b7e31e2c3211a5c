#include "ui/themes/BaseTheme.h"
#include "ui/themes/ButtonShape.h"

namespace
{

constexpr float switchWidth = 30.0F;
constexpr float switchHeight = 16.0F;
constexpr int switchTextX = 42;
constexpr float toggleFontHeight = 15.0F;

} // namespace

juce::Colour BaseTheme::getButtonTextColour(const juce::Button& button) const
{
    const Tone& tone = button.getToggleState() ? palette.toggled : palette.control;
    return getControlState(button).isEnabled ? tone.text : tone.disabledText;
}

void BaseTheme::drawButtonBackground(juce::Graphics& g, juce::Button& button, const juce::Colour&,
                                     bool isHighlighted, bool isDown)
{
    ControlState state = getControlState(button);
    state.isHovered = isHighlighted;
    state.isPressed = isDown;
    const bool isOn = button.getToggleState();
    const juce::Colour ground = getControlGround(state, isOn);
    const juce::Rectangle<float> bounds = ButtonShape::getBounds(button);
    drawControlSurface(g, ButtonShape::make(button, bounds, ButtonShape::cornerSize), bounds,
                       ground, state, isOn);
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(ground));
    const auto ring = button.getLocalBounds().toFloat().reduced(2.0F);
    g.strokePath(ButtonShape::make(button, ring, ButtonShape::cornerSize - 1.5F),
                 juce::PathStrokeType(2.0F));
}

juce::Font BaseTheme::getTextButtonFont(juce::TextButton&, int height)
{
    return getRegularFont(juce::jmin(15.0F, static_cast<float>(height) * 0.62F));
}

void BaseTheme::drawButtonText(juce::Graphics& g, juce::TextButton& button, bool, bool)
{
    g.setFont(getTextButtonFont(button, button.getHeight()));
    g.setColour(getButtonTextColour(button));
    const int margin = juce::jmin(8, button.getWidth() / 8);
    g.drawFittedText(button.getButtonText(), button.getLocalBounds().reduced(margin, 1),
                     juce::Justification::centred, 1, 0.85F);
}

void BaseTheme::drawToggleButton(juce::Graphics& g, juce::ToggleButton& button, bool isHighlighted,
                                 bool isDown)
{
    ControlState state = getControlState(button);
    state.isHovered = isHighlighted;
    state.isPressed = isDown;
    const auto bounds = button.getLocalBounds();
    const juce::Rectangle<float> area(
        4.0F, std::floor((static_cast<float>(bounds.getHeight()) - switchHeight) * 0.5F),
        switchWidth, switchHeight);
    drawSwitch(g, area, button.getToggleState(), state);
    g.setColour(state.isEnabled ? button.findColour(juce::ToggleButton::textColourId)
                                : palette.window.disabledText);
    g.setFont(getRegularFont(toggleFontHeight));
    g.drawFittedText(button.getButtonText(), bounds.withTrimmedLeft(switchTextX),
                     juce::Justification::centredLeft, 2, 0.9F);
}

void BaseTheme::drawSwitch(juce::Graphics& g, juce::Rectangle<float> area, bool isOn,
                           const ControlState& state)
{
    const float radius = area.getHeight() * 0.5F;
    juce::Colour ground = isOn ? palette.accent : palette.track;
    if (!state.isEnabled)
        ground = isOn ? palette.mutedAccent
                      : palette.track.interpolatedWith(palette.window.ground, 0.4F);
    drawWell(g, area, radius, ground);
    const float x = isOn ? area.getRight() - radius : area.getX() + radius;
    drawThumb(g, {x, area.getCentreY()}, radius - 3.0F, state, isOn);
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(palette.window.ground));
    g.drawRoundedRectangle(area.expanded(2.5F), radius + 2.5F, 2.0F);
}

void BaseTheme::drawTickBox(juce::Graphics& g, juce::Component& component, float x, float y,
                            float width, float height, bool isTicked, bool isEnabled,
                            bool isHighlighted, bool isDown)
{
    ControlState state = getControlState(component);
    state.isEnabled = isEnabled;
    state.isHovered = isHighlighted;
    state.isPressed = isDown;
    const juce::Rectangle<float> box = juce::Rectangle<float>(x, y, width, height).reduced(0.5F);
    juce::Path shape;
    shape.addRoundedRectangle(box, 3.0F);
    drawControlSurface(g, shape, box, getControlGround(state, isTicked), state, isTicked);
    if (!isTicked)
        return;
    const Tone& tone = palette.toggled;
    g.setColour(isEnabled ? tone.text : tone.disabledText);
    const juce::Path tick = getTickShape(1.0F);
    g.fillPath(tick, tick.getTransformToScaleToFit(box.reduced(width * 0.2F), true));
}

void BaseTheme::changeToggleButtonWidthToFitText(juce::ToggleButton& button)
{
    const int width = getRegularFont(toggleFontHeight).getStringWidth(button.getButtonText());
    button.setSize(switchTextX + width + 4, button.getHeight());
}

juce::Path BaseTheme::getTickShape(float height)
{
    juce::Path line;
    line.startNewSubPath(0.0F, 5.0F);
    line.lineTo(4.0F, 9.0F);
    line.lineTo(12.0F, 0.0F);
    juce::Path tick;
    juce::PathStrokeType(2.2F, juce::PathStrokeType::curved, juce::PathStrokeType::rounded)
        .createStrokedPath(tick, line);
    tick.scaleToFit(0.0F, 0.0F, height * 2.0F, height, true);
    return tick;
}
