#pragma once

#include "ui/themes/BaseTheme.h"

/// Names under which a component's properties hold a state that it is to be shown in.
namespace StagedState
{

inline const juce::Identifier hovered("hovered");
inline const juce::Identifier pressed("pressed");
inline const juce::Identifier focused("focused");

} // namespace StagedState

/// A theme that believes what a component's properties say about mouse and keyboard, of which the
/// gallery has none.
template <typename Theme>
class StagedTheme : public Theme
{
protected:
    ControlState getControlState(const juce::Component& component) const override
    {
        const juce::NamedValueSet& properties = component.getProperties();
        return {component.isEnabled(), properties.contains(StagedState::hovered),
                properties.contains(StagedState::pressed),
                properties.contains(StagedState::focused)};
    }
};
