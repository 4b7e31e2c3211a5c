#include "ui/themes/TitleBarButton.h"

#include "ui/themes/BaseTheme.h"

namespace
{

juce::String getButtonName(int type)
{
    if (type == juce::DocumentWindow::closeButton)
        return "close";
    return type == juce::DocumentWindow::minimiseButton ? "minimise" : "maximise";
}

juce::Path makeSymbol(int type, bool isOn)
{
    juce::Path path;
    if (type == juce::DocumentWindow::closeButton)
    {
        path.addLineSegment({-4.0F, -4.0F, 4.0F, 4.0F}, 0.0F);
        path.addLineSegment({-4.0F, 4.0F, 4.0F, -4.0F}, 0.0F);
    }
    else if (type == juce::DocumentWindow::minimiseButton)
        path.addLineSegment({-4.0F, 0.0F, 4.0F, 0.0F}, 0.0F);
    else
        path.addRectangle(isOn ? juce::Rectangle<float>(-3.0F, -3.0F, 6.0F, 6.0F)
                               : juce::Rectangle<float>(-4.5F, -4.5F, 9.0F, 9.0F));
    return path;
}

} // namespace

TitleBarButton::TitleBarButton(int buttonType)
    : juce::Button(getButtonName(buttonType))
    , type(buttonType)
{
    setTitle(getName());
}

void TitleBarButton::paintButton(juce::Graphics& g, bool isHighlighted, bool isDown)
{
    const auto* const theme = dynamic_cast<BaseTheme*>(&getLookAndFeel());
    const juce::Colour textColour = findColour(juce::DocumentWindow::textColourId);
    juce::Colour ground = textColour.withAlpha(isDown ? 0.28F : 0.14F);
    juce::Colour symbol = textColour.withMultipliedAlpha(isEnabled() ? 1.0F : 0.4F);
    if (theme != nullptr && type == juce::DocumentWindow::closeButton)
    {
        ground = theme->getPalette().warning.darker(isDown ? 0.25F : 0.0F);
        symbol = isHighlighted ? juce::Colours::white : symbol;
    }
    if (isHighlighted || isDown)
        g.fillAll(ground);
    juce::Path path = makeSymbol(type, getToggleState());
    path.applyTransform(juce::AffineTransform::translation(getLocalBounds().toFloat().getCentre()));
    g.setColour(symbol);
    g.strokePath(path, juce::PathStrokeType(1.5F, juce::PathStrokeType::mitered,
                                            juce::PathStrokeType::rounded));
}
