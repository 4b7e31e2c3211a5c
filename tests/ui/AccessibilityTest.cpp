#include "tests/ui/OpenEditor.h"

#include <algorithm>
#include <vector>

namespace
{

using CreateHandler = std::unique_ptr<juce::AccessibilityHandler> (juce::Component::*)();

CreateHandler getCreateHandler();

/// Without a screen the framework keeps no handlers, and makes its own privately; an explicit
/// instantiation may name what is private.
template <CreateHandler create>
struct Opener
{
    friend CreateHandler getCreateHandler() { return create; }
};

template struct Opener<&juce::Component::createAccessibilityHandler>;

/// What assistive technology is told of a component.
std::unique_ptr<juce::AccessibilityHandler> handlerOf(juce::Component& component)
{
    return (component.*getCreateHandler())();
}

bool isControl(const juce::Component& component)
{
    return component.isVisible() && component.isEnabled() && component.getWantsKeyboardFocus();
}

void collect(juce::Component& parent, std::vector<juce::Component*>& controls)
{
    for (juce::Component* const child : parent.getChildren())
    {
        if (isControl(*child))
            controls.push_back(child);
        // What a slider is made of is its own business.
        if (dynamic_cast<juce::Slider*>(child) == nullptr)
            collect(*child, controls);
    }
}

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
    collect(*editor, controls);
    ASSERT_GE(controls.size(), 16U);
    for (juce::Component* const control : controls)
    {
        const auto handler = handlerOf(*control);
        const juce::String which = control->getName() + " " + control->getTitle();
        ASSERT_NE(handler, nullptr) << which;
        EXPECT_TRUE(handler->getTitle().isNotEmpty()) << which;
        EXPECT_TRUE((handler->getHelp() + handler->getDescription()).isNotEmpty()) << which;
        EXPECT_NE(handler->getRole(), juce::AccessibilityRole::unspecified) << which;
        EXPECT_NE(handler->getRole(), juce::AccessibilityRole::ignored) << which;
        const auto* const button = dynamic_cast<juce::Button*>(control);
        const bool hasValue = button == nullptr || button->isToggleable();
        EXPECT_EQ(handler->getValueInterface() != nullptr &&
                      handler->getValueInterface()->getCurrentValueAsString().isNotEmpty(),
                  hasValue)
            << which;
    }
}

TEST_F(Accessibility, reachesAndChangesEveryControlByKeyboardFromTopToBottom)
{
    editor->timerCallback();
    std::vector<juce::Component*> controls;
    collect(*editor, controls);
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
