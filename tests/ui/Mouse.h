#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/// The mouse at a place in a component, after a button went down at `pressed`.
inline juce::MouseEvent makeMouseEvent(juce::Component& component, juce::Point<float> position,
                                       juce::Point<float> pressed,
                                       int modifiers = juce::ModifierKeys::leftButtonModifier)
{
    return {juce::Desktop::getInstance().getMainMouseSource(),
            position,
            juce::ModifierKeys(modifiers),
            0.0F,
            0.0F,
            0.0F,
            0.0F,
            0.0F,
            &component,
            &component,
            juce::Time::getCurrentTime(),
            pressed,
            {},
            1,
            position != pressed};
}
