#include "ui/themes/BaseTheme.h"

namespace kalim::ui
{
namespace
{

/// Where a message begins beside an icon: the framework leaves 80, which has to do for the space on
/// the right too.
constexpr int alertIconSpace = 72;

/// The framework's windows end close below their buttons.
constexpr int spaceBelowButtons = 12;
constexpr float alertIconSize = 40.0F;

juce::Path makeAlertSign(juce::MessageBoxIconType type, juce::Rectangle<float> area)
{
    juce::Path sign;
    if (type == juce::MessageBoxIconType::WarningIcon)
    {
        sign.addTriangle(area.getCentreX(), area.getY(), area.getRight(), area.getBottom() - 4.0F,
                         area.getX(), area.getBottom() - 4.0F);
        return sign.createPathWithRoundedCorners(4.0F);
    }
    sign.addEllipse(area);
    return sign;
}

} // namespace

juce::AlertWindow*
BaseTheme::createAlertWindow(const juce::String& title, const juce::String& message,
                             const juce::String& button1, const juce::String& button2,
                             const juce::String& button3, juce::MessageBoxIconType icon,
                             int numButtons, juce::Component* associated)
{
    // The newer look moves the buttons after the window has placed them.
    juce::AlertWindow* const window = juce::LookAndFeel_V2::createAlertWindow(
        title, message, button1, button2, button3, icon, numButtons, associated);
    window->setBounds(window->getBounds().expanded(0, spaceBelowButtons / 2));
    return window;
}

void BaseTheme::drawAlertBox(juce::Graphics& g, juce::AlertWindow& window,
                             const juce::Rectangle<int>& textArea, juce::TextLayout& layout)
{
    paintBackground(g, window.getWidth(), window.getHeight());
    g.setColour(palette.outline);
    g.drawRect(window.getLocalBounds());

    juce::Rectangle<int> area = textArea.withTrimmedTop(10);
    const juce::MessageBoxIconType type = window.getAlertType();
    if (type != juce::MessageBoxIconType::NoIcon)
    {
        const bool isWarning = type == juce::MessageBoxIconType::WarningIcon;
        const auto place = area.removeFromLeft(alertIconSpace - textArea.getX())
                               .removeFromTop(static_cast<int>(alertIconSize))
                               .toFloat()
                               .withSizeKeepingCentre(alertIconSize, alertIconSize);
        g.setColour(isWarning ? palette.warning : palette.accent);
        g.fillPath(makeAlertSign(type, place));
        g.setColour(isWarning ? juce::Colours::white : juce::Colours::black);
        g.setFont(getSemiBoldFont(26.0F));
        const char* const mark = isWarning                                    ? "!"
                                 : type == juce::MessageBoxIconType::InfoIcon ? "i"
                                                                              : "?";
        g.drawText(mark, place.translated(0.0F, isWarning ? 3.0F : 0.0F),
                   juce::Justification::centred, false);
    }
    layout.draw(g, area.toFloat());
}

int BaseTheme::getAlertWindowButtonHeight()
{
    return 28;
}

juce::Font BaseTheme::getAlertWindowTitleFont()
{
    return getSemiBoldFont(18.0F);
}

juce::Font BaseTheme::getAlertWindowMessageFont()
{
    return getRegularFont(15.0F);
}

juce::Font BaseTheme::getAlertWindowFont()
{
    return getRegularFont(14.0F);
}

void BaseTheme::drawCornerResizer(juce::Graphics& g, int width, int height, bool isMouseOver,
                                  bool isMouseDragging)
{
    const float alpha = isMouseDragging ? 1.0F : isMouseOver ? 0.9F : 0.6F;
    g.setColour(palette.secondaryText.withMultipliedAlpha(alpha));
    const float right = static_cast<float>(width) - 3.0F;
    const float bottom = static_cast<float>(height) - 3.0F;
    for (const float length : {10.0F, 6.0F, 2.0F})
    {
        juce::Path line;
        line.startNewSubPath(right - length, bottom);
        line.lineTo(right, bottom - length);
        g.strokePath(line, juce::PathStrokeType(1.25F, juce::PathStrokeType::mitered,
                                                juce::PathStrokeType::rounded));
    }
}

} // namespace kalim::ui
