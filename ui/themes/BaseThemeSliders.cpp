#include "ui/themes/BaseTheme.h"

namespace
{

constexpr float trackWidth = 4.0F;
constexpr int thumbRadius = 8;

} // namespace

void BaseTheme::drawRotarySlider(juce::Graphics& g, int x, int y, int width, int height,
                                 float position, float startAngle, float endAngle,
                                 juce::Slider& slider)
{
    const auto area = juce::Rectangle<int>(x, y, width, height).toFloat();
    const float radius = juce::jmin(area.getWidth(), area.getHeight()) * 0.5F;
    drawKnob(g, area.getCentre(), radius, {startAngle, endAngle},
             startAngle + position * (endAngle - startAngle), getControlState(slider));
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
                                 float position, float minPosition, float maxPosition,
                                 juce::Slider::SliderStyle style, juce::Slider& slider)
{
    if (slider.isBar() || slider.isTwoValue() || slider.isThreeValue())
    {
        juce::LookAndFeel_V4::drawLinearSlider(g, x, y, width, height, position, minPosition,
                                               maxPosition, style, slider);
        return;
    }
    const ControlState state = getControlState(slider);
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

juce::Font BaseTheme::getSliderPopupFont(juce::Slider&)
{
    return getRegularFont(15.0F);
}
