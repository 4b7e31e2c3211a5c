#pragma once

#include "standalone/AudioEngine.h"

#include <functional>
#include <juce_gui_basics/juce_gui_basics.h>

namespace kalim::standalone
{

/// Where the user chooses the audio device, and whether its input is heard. Stays open beside the
/// main window until it is closed. Message thread.
class AudioSettingsWindow : public juce::DocumentWindow
{
public:
    /// `closed` is called when the user closes the window, and may delete it.
    AudioSettingsWindow(AudioEngine& engine, std::function<void()> closed);

    /// Shows the window, in the middle of that component when it was hidden.
    void showOver(juce::Component& component);

    void closeButtonPressed() override;
    bool keyPressed(const juce::KeyPress& key) override;
    void lookAndFeelChanged() override;

private:
    std::function<void()> onClosed;
};

} // namespace kalim::standalone
