#include "ui/controls/AboutDialog.h"

#include "plugin/KalimConstants.h"

#include <gtest/gtest.h>

namespace
{

class Window : public juce::DialogWindow
{
public:
    Window()
        : juce::DialogWindow("About", juce::Colours::white, true, false)
    {
    }

    void closeButtonPressed() override { ++closings; }

    int closings = 0;
};

} // namespace

TEST(AboutDialog, SaysWhichVersionItIs)
{
    const juce::ScopedJuceInitialiser_GUI framework;
    AboutDialog dialog;
    const juce::Label* version = nullptr;
    for (const juce::Component* child : dialog.getChildren())
        if (child->getName() == "versionLabel")
            version = dynamic_cast<const juce::Label*>(child);
    ASSERT_NE(version, nullptr);
    EXPECT_TRUE(version->getText().contains(KalimConstants::plugInVersion));
}

TEST(AboutDialog, ClosesItsWindowByButtonAndKeys)
{
    const juce::ScopedJuceInitialiser_GUI framework;
    Window window;
    AboutDialog dialog;
    window.setContentNonOwned(&dialog, true);
    juce::Button* button = nullptr;
    for (juce::Component* child : dialog.getChildren())
        if (child->getName() == "okButton")
            button = dynamic_cast<juce::Button*>(child);
    ASSERT_NE(button, nullptr);
    button->onClick();
    EXPECT_EQ(window.closings, 1);
    EXPECT_TRUE(dialog.keyPressed(juce::KeyPress(juce::KeyPress::escapeKey)));
    EXPECT_TRUE(dialog.keyPressed(juce::KeyPress(juce::KeyPress::returnKey)));
    EXPECT_FALSE(dialog.keyPressed(juce::KeyPress('x')));
    EXPECT_EQ(window.closings, 3);
}
