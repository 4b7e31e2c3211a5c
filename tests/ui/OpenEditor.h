#pragma once

#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <gtest/gtest.h>

#include <memory>

/// A plug-in with its editor open, as a host opens it, but without a screen.
class OpenEditor : public ::testing::Test
{
protected:
    using Kalimmer = orvo::audio::Kalimmer;

    /// The component with that name, wherever it is in the editor.
    template <typename Component>
    Component& find(const juce::String& name)
    {
        auto* const found = dynamic_cast<Component*>(findBelow(*editor, name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }

    PlugInEditorHeader& getHeader()
    {
        return *find<juce::Button>("undoButton").findParentComponentOfClass<PlugInEditorHeader>();
    }

    void click(const juce::String& buttonName)
    {
        getHeader().buttonClicked(&find<juce::Button>(buttonName));
    }

    /// As by a user: the switch moves, and its listeners are told.
    void flip(const juce::String& toggleName)
    {
        auto& toggle = find<juce::ToggleButton>(toggleName);
        toggle.setToggleState(!toggle.getToggleState(), juce::sendNotificationSync);
    }

    float valueOf(int id) const { return plugIn.getBaseProcessor()->getParameterValue(id); }

    void setValue(int id, float value)
    {
        plugIn.getBaseProcessor()->setParameterValue(id, value, false);
    }

    void reopen()
    {
        editor.reset();
        editor = std::make_unique<KalimAudioProcessorEditor>(&plugIn);
    }

    KalimAudioProcessor plugIn;
    std::unique_ptr<KalimAudioProcessorEditor> editor =
        std::make_unique<KalimAudioProcessorEditor>(&plugIn);

private:
    static juce::Component* findBelow(juce::Component& parent, const juce::String& name)
    {
        for (juce::Component* const child : parent.getChildren())
        {
            if (child->getName() == name)
                return child;
            if (juce::Component* const found = findBelow(*child, name))
                return found;
        }
        return nullptr;
    }
};
