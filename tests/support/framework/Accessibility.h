#pragma once

#include <gtest/gtest.h>

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>
#include <vector>

/// What people who hear or feel the window instead of seeing it are told of it.
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
inline std::unique_ptr<juce::AccessibilityHandler> handlerOf(juce::Component& component)
{
    return (component.*getCreateHandler())();
}

inline bool isControl(const juce::Component& component)
{
    return component.getWantsKeyboardFocus();
}

inline void collectControls(juce::Component& parent, std::vector<juce::Component*>& controls)
{
    for (juce::Component* const child : parent.getChildren())
    {
        if (isControl(*child))
            controls.push_back(child);
        // What a slider is made of is its own business.
        if (dynamic_cast<juce::Slider*>(child) == nullptr)
            collectControls(*child, controls);
    }
}

/// Of name, role, value and description.
inline void expectTold(juce::Component& control)
{
    const auto handler = handlerOf(control);
    const juce::String which = control.getName() + " " + control.getTitle();
    ASSERT_NE(handler, nullptr) << which;
    EXPECT_TRUE(handler->getTitle().isNotEmpty()) << which;
    EXPECT_TRUE((handler->getHelp() + handler->getDescription()).isNotEmpty()) << which;
    EXPECT_NE(handler->getRole(), juce::AccessibilityRole::unspecified) << which;
    EXPECT_NE(handler->getRole(), juce::AccessibilityRole::ignored) << which;
    const auto* const button = dynamic_cast<juce::Button*>(&control);
    const bool hasValue = button == nullptr || button->isToggleable();
    EXPECT_EQ(handler->getValueInterface() != nullptr &&
                  handler->getValueInterface()->getCurrentValueAsString().isNotEmpty(),
              hasValue)
        << which;
}
