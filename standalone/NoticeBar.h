#pragma once

#include <functional>
#include <juce_gui_basics/juce_gui_basics.h>

/// A line that tells the user of something, with a button to do something about it. Message thread.
class NoticeBar : public juce::Component
{
public:
    static constexpr int height = 30;

    NoticeBar();

    /// The texts are shown as they are, so translated ones are expected.
    void show(const juce::String& text, const juce::String& buttonText,
              std::function<void()> buttonAction);

    void paint(juce::Graphics& graphics) override;
    void resized() override;

private:
    juce::Label label;
    juce::TextButton button;
};
