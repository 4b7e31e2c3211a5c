#pragma once

#include "standalone/AudioSettingsWindow.h"
#include "standalone/HumBar.h"
#include "standalone/Session.h"
#include "standalone/TransportBar.h"

#include <functional>
#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>
#include <optional>

namespace kalim::standalone
{

/// What is in the window: a notice if there is one, the processor's editor, and the bars for
/// its hum and for playing. As large as the editor wants to be; a new size is passed on to the
/// editor. Message thread.
class MainComponent : public juce::Component,
                      public juce::FileDragAndDropTarget,
                      private juce::Timer
{
public:
    /// The session must outlive the component.
    explicit MainComponent(Session& sessionToShow);
    ~MainComponent() override;

    /// Opens a file, or tells why it cannot be played.
    void openFile(const juce::File& file);

    /// The size of the component without that of the editor.
    int getExtraHeight() const;

    /// Sizes that suit the editor, with all that is around it.
    juce::Rectangle<int> getMinimumArea() const;
    bool canBeResized() const;

    void resized() override;
    void childBoundsChanged(juce::Component* child) override;
    bool keyPressed(const juce::KeyPress& key) override;
    bool isInterestedInFileDrag(const juce::StringArray& files) override;
    void filesDropped(const juce::StringArray& files, int x, int y) override;

private:
    class NoticeBar;

    struct Notice
    {
        juce::String text;
        juce::String buttonText;
        std::function<void()> action;
    };

    void timerCallback() override;
    std::optional<Notice> findNotice();
    void updateNotice();
    void fitEditor();
    void followLook();
    void chooseFile();
    void showAudioSettings();

    Session& session;
    juce::String problem;
    std::unique_ptr<NoticeBar> noticeBar;
    HumBar humBar;
    TransportBar transportBar;
    std::unique_ptr<juce::AudioProcessorEditor> editor;
    std::unique_ptr<juce::TooltipWindow> tooltips;
    std::unique_ptr<juce::Component> lookWatcher;
    std::unique_ptr<juce::FileChooser> fileChooser;
    std::unique_ptr<AudioSettingsWindow> audioSettings;
    bool isLayingOut = false;
    int numWindows = 0;
};

} // namespace kalim::standalone
