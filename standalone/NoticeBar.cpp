#include "standalone/NoticeBar.h"

#include <utility>

namespace
{

constexpr int margin = 4;

// Readable on any theme.
const juce::Colour background(0xfff3e2a9);
const juce::Colour textColour(0xff2b2410);

} // namespace

NoticeBar::NoticeBar()
{
    setOpaque(true);
    label.setColour(juce::Label::textColourId, textColour);
    label.setMinimumHorizontalScale(0.7F);
    addAndMakeVisible(label);
    addAndMakeVisible(button);
}

void NoticeBar::show(const juce::String& text, const juce::String& buttonText,
                     std::function<void()> buttonAction)
{
    button.onClick = std::move(buttonAction);
    if (label.getText() == text && button.getButtonText() == buttonText)
        return;
    label.setText(text, juce::dontSendNotification);
    label.setTooltip(text);
    button.setButtonText(buttonText);
    button.setTitle(buttonText);
    resized();
    // Those who cannot see it are told.
    juce::AccessibilityHandler::postAnnouncement(
        text, juce::AccessibilityHandler::AnnouncementPriority::medium);
}

void NoticeBar::paint(juce::Graphics& graphics)
{
    graphics.fillAll(background);
}

void NoticeBar::resized()
{
    auto area = getLocalBounds().reduced(margin);
    button.setBounds(area.removeFromRight(button.getBestWidthForHeight(area.getHeight())));
    label.setBounds(area);
}
