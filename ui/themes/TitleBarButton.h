#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/// A button of a window's title bar, drawn from the theme of the window.
class TitleBarButton : public juce::Button
{
public:
    /// `type` is one of `juce::DocumentWindow::TitleBarButtons`.
    explicit TitleBarButton(int type);

    void paintButton(juce::Graphics& g, bool isHighlighted, bool isDown) override;

private:
    const int type;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(TitleBarButton)
};
