#pragma once

#include "standalone/CleanedFile.h"
#include "standalone/FilePlayer.h"
#include "standalone/Progress.h"

#include <functional>
#include <future>
#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>

namespace kalim::standalone
{

/// Finds the hum of the file that is played, and saves the file without it; both go on in the
/// background, one at a time. A line of text tells how far it is and what came of it. Message
/// thread.
class HumBar : public juce::Component
{
public:
    static constexpr int height = 40;

    /// Player and plug-in must outlive the bar.
    HumBar(FilePlayer& playerToUse, BasePlugInProcessor& plugInToSet);

    /// Cancels what goes on and waits for its end.
    ~HumBar() override;

    /// Looks for the hum of the player's file and makes it the window's settings, as one change.
    void lookForHum();

    /// Saves a file cleaned, with the window's present settings where they count.
    void save(const juce::File& source, const juce::File& target, CleaningMethod method);

    /// Whether something goes on. Nothing else can be started before it has ended.
    bool isBusy() const { return work.valid(); }

    /// Ends what goes on as soon as it can be left, with nothing changed.
    void cancel();

    /// To be called when the player has another file: what was said of the old one goes.
    void fileOpened();

    /// Takes over what has ended and shows the present state, to be called some times a second.
    void refresh();

    /// The line of text.
    juce::String getText() const { return label.getText(); }

    void paint(juce::Graphics& graphics) override;
    void resized() override;

    void lookAndFeelChanged() override { resized(); }

private:
    /// Makes a result take effect, and says it in words.
    using Outcome = std::function<juce::String()>;
    using Work = std::function<Outcome(Progress&)>;

    void start(const juce::String& doing, Work newWork);
    void finish();
    void say(const juce::String& text);
    void askForMethod();
    void askForTarget(CleaningMethod method);

    FilePlayer& player;
    BasePlugInProcessor& plugIn;
    juce::TextButton findButton;
    juce::TextButton saveButton;
    juce::Label label;
    std::unique_ptr<juce::FileChooser> fileChooser; // while one is open

    /// While something goes on: what, with a # for how far it is, and whether it is about the file
    /// that is played.
    juce::String activity;
    bool isAboutFile = false;
    std::unique_ptr<Progress> progress;
    std::future<Outcome> work; // the last member, since it uses the progress
};

} // namespace kalim::standalone
