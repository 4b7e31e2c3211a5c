#include "standalone/AudioSettingsWindow.h"

#include <juce_audio_utils/juce_audio_utils.h>
#include <utility>

namespace kalim::standalone
{
namespace
{

constexpr int contentWidth = 500;
constexpr int muteHeight = 40;

class AudioSettings : public juce::Component, private juce::Timer
{
public:
    explicit AudioSettings(AudioEngine& engineToSet)
        : engine(engineToSet)
        , selector(engine.getDevices(), 0, 2, 0, 2, false, false, true, false)
    {
        muteButton.setButtonText(juce::translate("Mute the audio input"));
        muteButton.setTitle(juce::translate("Mute the audio input"));
        muteButton.onClick = [this] { engine.setInputMuted(muteButton.getToggleState()); };
        addAndMakeVisible(muteButton);
        addAndMakeVisible(selector);
        setSize(contentWidth, muteHeight + selector.getHeight());
        timerCallback();
        startTimer(200);
    }

    void resized() override
    {
        auto area = getLocalBounds();
        muteButton.setBounds(area.removeFromTop(muteHeight).reduced(8));
        selector.setBounds(area);
    }

    /// The selector finds its own height, which depends on the device.
    void childBoundsChanged(juce::Component* child) override
    {
        if (child == &selector)
            setSize(getWidth(), muteHeight + selector.getHeight());
    }

private:
    /// The notice in the main window changes it, too.
    void timerCallback() override
    {
        muteButton.setToggleState(engine.isInputMuted(), juce::dontSendNotification);
    }

    AudioEngine& engine;
    juce::ToggleButton muteButton;
    juce::AudioDeviceSelectorComponent selector;
};

} // namespace

AudioSettingsWindow::AudioSettingsWindow(AudioEngine& engine, std::function<void()> closed)
    : juce::DocumentWindow(juce::translate("Audio settings"),
                           juce::LookAndFeel::getDefaultLookAndFeel().findColour(
                               juce::ResizableWindow::backgroundColourId),
                           juce::DocumentWindow::closeButton, false)
    , onClosed(std::move(closed))
{
    setUsingNativeTitleBar(true);
    engine.lookForDevices();
    setContentOwned(std::make_unique<AudioSettings>(engine).release(), true);
    // Resizable for the window system, which otherwise does not follow when the content grows.
    setResizable(true, false);
}

void AudioSettingsWindow::showOver(juce::Component& component)
{
    if (!isOnDesktop())
    {
        centreAroundComponent(&component, getWidth(), getHeight());
        addToDesktop();
    }
    setVisible(true);
    toFront(true);
}

void AudioSettingsWindow::lookAndFeelChanged()
{
    juce::DocumentWindow::lookAndFeelChanged();
    setBackgroundColour(findColour(juce::ResizableWindow::backgroundColourId));
}

void AudioSettingsWindow::closeButtonPressed()
{
    onClosed();
}

bool AudioSettingsWindow::keyPressed(const juce::KeyPress& key)
{
    if (key != juce::KeyPress::escapeKey)
        return juce::DocumentWindow::keyPressed(key);
    onClosed();
    return true;
}

} // namespace kalim::standalone
