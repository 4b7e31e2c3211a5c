#pragma once

#include "standalone/FilePlayer.h"

#include <functional>
#include <juce_gui_basics/juce_gui_basics.h>

namespace kalim::standalone
{

/// Buttons, position and name of the file that is played, in one line. Message thread.
class TransportBar : public juce::Component
{
public:
    static constexpr int height = 40;

    /// With room for all parts in every language.
    static constexpr int minimumWidth = 560;

    explicit TransportBar(FilePlayer& playerToShow);

    /// What the buttons do that concern more than the player.
    std::function<void()> onOpen;
    std::function<void()> onAudioSettings;

    /// Shows the player's present state, to be called some times a second.
    void refresh();

    /// Plays or stops; asks for a file when there is none.
    void togglePlaying();

    void paint(juce::Graphics& graphics) override;
    void resized() override;
    void lookAndFeelChanged() override;

private:
    void prepareButtons();
    void prepareSlider();

    FilePlayer& player;
    juce::TextButton openButton;
    juce::TextButton playButton;
    juce::ToggleButton loopButton;
    juce::TextButton audioButton;
    juce::Slider positionSlider;
    juce::Label timeLabel;
    juce::Label nameLabel;
};

} // namespace kalim::standalone
