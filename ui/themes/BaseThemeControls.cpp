#include "ui/themes/BaseTheme.h"

namespace kalim::ui
{
namespace
{

constexpr float switchWidth = 30.0F;
constexpr float switchHeight = 16.0F;
constexpr int switchTextX = 42;
constexpr float toggleFontHeight = 15.0F;
constexpr float buttonCorner = 4.0F;

constexpr float trackWidth = 4.0F;
constexpr int thumbRadius = 8;

/// The area whose outline is drawn, on the centres of pixels. Where another button joins on the
/// left or on top, the edge is left to that one, so that a joint is a single line.
juce::Rectangle<float> getOutlineBounds(const juce::Button& button)
{
    juce::Rectangle<float> bounds = button.getLocalBounds().toFloat().reduced(0.5F);
    if (button.isConnectedOnLeft())
        bounds.setLeft(-0.5F);
    if (button.isConnectedOnTop())
        bounds.setTop(-0.5F);
    return bounds;
}

/// Rounds the corners between two edges where nothing joins.
juce::Path makeButtonShape(const juce::Button& button, juce::Rectangle<float> bounds, float corner)
{
    const bool isLeft = button.isConnectedOnLeft();
    const bool isRight = button.isConnectedOnRight();
    const bool isTop = button.isConnectedOnTop();
    const bool isBottom = button.isConnectedOnBottom();
    juce::Path path;
    path.addRoundedRectangle(bounds.getX(), bounds.getY(), bounds.getWidth(), bounds.getHeight(),
                             corner, corner, !isLeft && !isTop, !isRight && !isTop,
                             !isLeft && !isBottom, !isRight && !isBottom);
    return path;
}

} // namespace

juce::Colour BaseTheme::getButtonTextColour(const juce::Button& button) const
{
    const Tone& tone = button.getToggleState() ? palette.toggled : palette.control;
    return readState(button).isEnabled ? tone.text : tone.disabledText;
}

void BaseTheme::drawButtonBackground(juce::Graphics& g, juce::Button& button, const juce::Colour&,
                                     bool isHighlighted, bool isDown)
{
    ControlState state = readState(button);
    state.isHovered = isHighlighted;
    state.isPressed = isDown;
    const bool isOn = button.getToggleState();
    const juce::Colour ground = getControlGround(state, isOn);
    const juce::Rectangle<float> bounds = getOutlineBounds(button);
    drawControlSurface(g, makeButtonShape(button, bounds, buttonCorner), bounds, ground, state,
                       isOn);
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(ground));
    const auto ring = button.getLocalBounds().toFloat().reduced(2.0F);
    g.strokePath(makeButtonShape(button, ring, buttonCorner - 1.5F), juce::PathStrokeType(2.0F));
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
    ControlState state = readState(button);
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

void BaseTheme::changeToggleButtonWidthToFitText(juce::ToggleButton& button)
{
    const int width = getRegularFont(toggleFontHeight).getStringWidth(button.getButtonText());
    button.setSize(switchTextX + width + 4, button.getHeight());
}

void BaseTheme::drawRotarySlider(juce::Graphics& g, int x, int y, int width, int height,
                                 float position, float startAngle, float endAngle,
                                 juce::Slider& slider)
{
    const auto area = juce::Rectangle<int>(x, y, width, height).toFloat();
    const float radius = juce::jmin(area.getWidth(), area.getHeight()) * 0.5F;
    drawKnob(g, area.getCentre(), radius, {startAngle, endAngle},
             startAngle + position * (endAngle - startAngle), readState(slider));
}

void BaseTheme::drawKnob(juce::Graphics& g, juce::Point<float> centre, float radius,
                         juce::Range<float> angles, float valueAngle, const ControlState& state)
{
    // The outermost pixels are the focus ring's, and a gap to what is next to the knob.
    const float scaleRadius = radius - 4.0F;
    const float capRadius = radius * 0.65F;
    drawKnobScale(g, centre, scaleRadius, angles, valueAngle, state);
    drawCap(g, centre, capRadius, state);

    juce::Path pointer;
    pointer.startNewSubPath(centre.getPointOnCircumference(capRadius * 0.38F, valueAngle));
    pointer.lineTo(centre.getPointOnCircumference(capRadius * 0.82F, valueAngle));
    g.setColour(state.isEnabled ? palette.pointer : palette.control.disabledText);
    g.strokePath(pointer, juce::PathStrokeType(3.0F, juce::PathStrokeType::curved,
                                               juce::PathStrokeType::rounded));
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(palette.window.ground));
    const float ring = radius * 2.0F - 4.0F;
    g.drawEllipse(juce::Rectangle<float>(ring, ring).withCentre(centre), 2.0F);
}

int BaseTheme::getSliderThumbRadius(juce::Slider&)
{
    return thumbRadius;
}

void BaseTheme::drawLinearSlider(juce::Graphics& g, int x, int y, int width, int height,
                                 float position, float, float, juce::Slider::SliderStyle,
                                 juce::Slider& slider)
{
    const ControlState state = readState(slider);
    const auto area = juce::Rectangle<int>(x, y, width, height).toFloat();
    const bool isHorizontal = slider.isHorizontal();
    const juce::Point<float> thumb = isHorizontal ? juce::Point<float>(position, area.getCentreY())
                                                  : juce::Point<float>(area.getCentreX(), position);
    const auto track = isHorizontal ? area.withSizeKeepingCentre(area.getWidth(), trackWidth)
                                    : area.withSizeKeepingCentre(trackWidth, area.getHeight());
    drawWell(g, track, trackWidth * 0.5F,
             palette.track.withMultipliedAlpha(state.isEnabled ? 1.0F : 0.6F));
    g.setColour(state.isEnabled ? palette.accent : palette.mutedAccent);
    g.fillRoundedRectangle(isHorizontal ? track.withRight(position) : track.withTop(position),
                           trackWidth * 0.5F);
    const auto radius = static_cast<float>(thumbRadius);
    drawThumb(g, thumb, radius - 2.0F, state, false);
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(palette.window.ground));
    g.drawEllipse(
        juce::Rectangle<float>(radius * 2.0F, radius * 2.0F).withCentre(thumb).reduced(1.0F), 2.0F);
}

juce::Label* BaseTheme::createSliderTextBox(juce::Slider& slider)
{
    juce::Label* const box = juce::LookAndFeel_V4::createSliderTextBox(slider);
    box->setFont(getRegularFont(14.0F));
    box->setColour(juce::Label::textWhenEditingColourId, palette.display.text);
    box->setColour(juce::Label::backgroundWhenEditingColourId, palette.display.ground);
    box->setColour(juce::CaretComponent::caretColourId, palette.display.text);
    box->setColour(juce::TextEditor::highlightedTextColourId, palette.selection.text);
    box->setColour(juce::Label::outlineWhenEditingColourId, getFocusColour(palette.display.ground));
    return box;
}

} // namespace kalim::ui
