#include "ui/controls/AboutDialog.h"

#include <gtest/gtest.h>

TEST(AboutDialog, ClosesItsWindowByButtonAndKeys)
{
    juce::DialogWindow window("About", juce::Colours::white, true, false);
    AboutDialog dialog;
    window.setContentNonOwned(&dialog, true);
    auto* const button = dynamic_cast<juce::Button*>(dialog.findChildWithID("okButton"));
    ASSERT_NE(button, nullptr);
    window.enterModalState(false);
    button->onClick();
    EXPECT_FALSE(window.isCurrentlyModal());
    for (const int key : {juce::KeyPress::escapeKey, juce::KeyPress::returnKey, int{'x'}})
    {
        window.enterModalState(false);
        EXPECT_EQ(dialog.keyPressed(juce::KeyPress(key)), key != 'x');
        EXPECT_EQ(window.isCurrentlyModal(), key == 'x');
    }
}
