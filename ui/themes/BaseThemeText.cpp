#include "ui/themes/BaseTheme.h"

namespace kalim::ui
{
namespace
{

constexpr float fieldCorner = 3.0F;
constexpr int tooltipMargin = 8;
constexpr float tooltipWidth = 320.0F;

} // namespace

juce::Font BaseTheme::getLabelFont(juce::Label& label)
{
    return getThemedFont(label.getFont());
}

void BaseTheme::drawLabel(juce::Graphics& g, juce::Label& label)
{
    const auto bounds = label.getLocalBounds();
    const bool isValue = dynamic_cast<juce::Slider*>(label.getParentComponent()) != nullptr;
    const ControlState state = readState(label);
    const juce::Colour ground = label.findColour(juce::Label::backgroundColourId);
    if (isValue)
        drawWell(g, bounds.toFloat(), fieldCorner, ground);
    else if (!ground.isTransparent())
        g.fillAll(ground);
    if (label.isBeingEdited())
        return;
    const Tone& tone = isValue ? palette.display : palette.window;
    g.setColour(state.isEnabled ? label.findColour(juce::Label::textColourId) : tone.disabledText);
    const juce::Font font = getLabelFont(label);
    g.setFont(font);
    const auto area = getLabelBorderSize(label).subtractedFrom(bounds);
    const int lines =
        juce::jmax(1, juce::roundToInt(static_cast<float>(area.getHeight()) / font.getHeight()));
    g.drawFittedText(label.getText(), area, label.getJustificationType(), lines,
                     label.getMinimumHorizontalScale());
    if (!isValue)
    {
        g.setColour(label.findColour(juce::Label::outlineColourId));
        g.drawRect(bounds);
    }
}

void BaseTheme::fillTextEditorBackground(juce::Graphics& g, int width, int height,
                                         juce::TextEditor& editor)
{
    // Its corners show what is behind.
    const auto bounds = juce::Rectangle<int>(width, height).toFloat();
    const juce::Colour ground = editor.findColour(juce::TextEditor::backgroundColourId);
    if (ground.isTransparent())
        return;
    if (editor.getParentComponent() == nullptr)
        g.fillAll(ground);
    drawWell(g, bounds, fieldCorner, ground);
}

void BaseTheme::drawTextEditorOutline(juce::Graphics& g, int width, int height,
                                      juce::TextEditor& editor)
{
    const ControlState state = readState(editor);
    const auto bounds = juce::Rectangle<int>(width, height).toFloat();
    if (!state.isEnabled)
    {
        // The editor writes its text in full strength.
        g.setColour(editor.findColour(juce::TextEditor::backgroundColourId).withAlpha(0.5F));
        g.fillRoundedRectangle(bounds.reduced(1.0F), fieldCorner);
    }
    if (!state.isFocused || editor.isReadOnly())
        return;
    g.setColour(editor.findColour(juce::TextEditor::focusedOutlineColourId));
    g.drawRoundedRectangle(bounds.reduced(1.0F), fieldCorner, 2.0F);
}

void BaseTheme::drawComboBox(juce::Graphics& g, int width, int height, bool isDown, int, int, int,
                             int, juce::ComboBox& box)
{
    ControlState state = readState(box);
    state.isPressed = isDown || box.isPopupActive();
    const auto bounds = juce::Rectangle<int>(width, height).toFloat();
    juce::Path shape;
    shape.addRoundedRectangle(bounds.reduced(0.5F), 4.0F);
    const juce::Colour ground = getControlGround(state, false);
    drawControlSurface(g, shape, bounds.reduced(0.5F), ground, state, false);

    const juce::Point<float> centre(bounds.getRight() - 14.0F, bounds.getCentreY());
    juce::Path arrow;
    arrow.startNewSubPath(centre.translated(-4.0F, -2.0F));
    arrow.lineTo(centre.translated(0.0F, 2.0F));
    arrow.lineTo(centre.translated(4.0F, -2.0F));
    g.setColour(state.isEnabled ? palette.control.text : palette.control.disabledText);
    g.strokePath(arrow, juce::PathStrokeType(2.0F, juce::PathStrokeType::curved,
                                             juce::PathStrokeType::rounded));
    if (!state.isFocused)
        return;
    g.setColour(getFocusColour(ground));
    g.drawRoundedRectangle(bounds.reduced(2.0F), 3.0F, 2.0F);
}

juce::Font BaseTheme::getComboBoxFont(juce::ComboBox& box)
{
    return getRegularFont(juce::jmin(15.0F, static_cast<float>(box.getHeight()) * 0.62F));
}

void BaseTheme::positionComboBoxText(juce::ComboBox& box, juce::Label& label)
{
    label.setBounds(4, 1, box.getWidth() - 30, box.getHeight() - 2);
    label.setFont(getComboBoxFont(box));
}

juce::TextLayout BaseTheme::layoutTooltip(const juce::String& text) const
{
    juce::AttributedString string;
    string.append(text, getRegularFont(14.0F), palette.tooltip.text);
    string.setLineSpacing(2.0F);
    juce::TextLayout layout;
    layout.createLayoutWithBalancedLineLengths(string, tooltipWidth);
    return layout;
}

juce::Rectangle<int> BaseTheme::getTooltipBounds(const juce::String& text,
                                                 juce::Point<int> position,
                                                 juce::Rectangle<int> parentArea)
{
    const juce::TextLayout layout = layoutTooltip(text);
    const int width = static_cast<int>(std::ceil(layout.getWidth())) + 2 * tooltipMargin;
    const int height = static_cast<int>(std::ceil(layout.getHeight())) + 2 * tooltipMargin - 4;
    const int x = position.x > parentArea.getCentreX() ? position.x - width - 12 : position.x + 20;
    const int y = position.y > parentArea.getCentreY() ? position.y - height - 6 : position.y + 12;
    return juce::Rectangle<int>(x, y, width, height).constrainedWithin(parentArea);
}

void BaseTheme::drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height)
{
    const juce::Rectangle<int> bounds(width, height);
    g.fillAll(palette.tooltip.ground);
    g.setColour(palette.outline);
    g.drawRect(bounds);
    layoutTooltip(text).draw(g, bounds.reduced(tooltipMargin, tooltipMargin - 2).toFloat());
}

} // namespace kalim::ui
