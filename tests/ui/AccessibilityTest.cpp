#include "tests/support/framework/Accessibility.h"

#include "tests/ui/OpenEditor.h"

#include <algorithm>

namespace
{

/// What the keyboard steps through, in that order.
std::vector<juce::Component*> inTabOrder(juce::Component& parent)
{
    juce::KeyboardFocusTraverser traverser;
    return traverser.getAllComponents(&parent);
}

} // namespace

using Accessibility = OpenEditor;

TEST_F(Accessibility, tellsNameRoleValueAndDescriptionOfEveryControl)
{
    editor->timerCallback();
    std::vector<juce::Component*> controls;
    collectControls(*editor, controls);
    ASSERT_GE(controls.size(), 16U);
    for (juce::Component* const control : controls)
        expectTold(*control);
}

TEST_F(Accessibility, reachesAndChangesEveryControlByKeyboardFromTopToBottom)
{
    editor->timerCallback();
    std::vector<juce::Component*> controls;
    collectControls(*editor, controls);
    std::erase_if(controls, [](juce::Component* control)
                  { return !control->isEnabled() || !control->isVisible(); });
    const std::vector<juce::Component*> order = inTabOrder(*editor);
    for (juce::Component* const control : controls)
        EXPECT_EQ(std::count(order.begin(), order.end(), control), 1) << control->getName();
    const auto placeOf = [&](juce::Component& component)
    { return std::find(order.begin(), order.end(), &component) - order.begin(); };
    juce::Component& frequency = find("frequencySlider");
    EXPECT_LT(placeOf(find("menuButton")), placeOf(frequency));
    EXPECT_LT(placeOf(frequency), placeOf(find("residualToggle")));

    for (juce::Component* const control : controls)
        if (auto* const slider = dynamic_cast<juce::Slider*>(control))
        {
            const double before = slider->getValue();
            for (const int key : {juce::KeyPress::upKey, juce::KeyPress::downKey})
                slider->keyPressed(juce::KeyPress(key));
            slider->keyPressed(juce::KeyPress(
                before < slider->getMaximum() ? juce::KeyPress::upKey : juce::KeyPress::downKey));
            EXPECT_NE(slider->getValue(), before) << slider->getTitle();
        }
    const float before = valueOf(Kalimmer::ResidualMode);
    find("residualToggle").keyPressed(juce::KeyPress(juce::KeyPress::returnKey));
    runMessageLoop(300);
    EXPECT_NE(valueOf(Kalimmer::ResidualMode), before);
}
