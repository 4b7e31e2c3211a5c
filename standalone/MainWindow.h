#pragma once

#include "standalone/MainComponent.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace kalim::standalone
{

/// The program's window, where it was the last time. Message thread.
class MainWindow : public juce::DocumentWindow
{
public:
    /// The session must outlive the window.
    explicit MainWindow(Session& sessionToShow);
    ~MainWindow() override;

    /// See MainComponent.
    void openFile(const juce::File& file) { content->openFile(file); }

    /// Takes down where the window is.
    void remember();

    /// Asks the application to quit.
    void closeButtonPressed() override;
    void focusGained(FocusChangeType cause) override;

private:
    void restoreBounds();
    juce::Point<int> getFramePosition() const;

    Session& session;
    MainComponent* content; // owned by the base class
};

} // namespace kalim::standalone
