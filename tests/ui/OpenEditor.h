#pragma once

#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>

/// A plug-in with its editor open, as a host opens it, but without a screen.
class OpenEditor : public ::testing::Test, private juce::AudioProcessorListener
{
protected:
    using Kalimmer = orvo::audio::Kalimmer;

    OpenEditor() { plugIn.juce::AudioProcessor::addListener(this); }

    /// The component with that name, wherever it is in the editor.
    template <typename Component = juce::Component>
    Component& find(const juce::String& name)
    {
        auto* const found = dynamic_cast<Component*>(findBelow(*editor, name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }

    PlugInEditorHeader& getHeader()
    {
        return *find("undoButton").findParentComponentOfClass<PlugInEditorHeader>();
    }

    void click(const char* name) { getHeader().buttonClicked(&find<juce::Button>(name)); }

    float valueOf(int id) const { return plugIn.getBaseProcessor()->getParameterValue(id); }

    void setValue(int id, float value)
    {
        plugIn.getBaseProcessor()->setParameterValue(id, value, false);
    }

    /// Where a frequency is on the plot's scale from 40 to 2000 Hz: 0 is left, 1 right.
    static double positionOf(double hz) { return std::log10(hz / 40.0) / std::log10(50.0); }

    void reopen()
    {
        editor.reset();
        editor = std::make_unique<KalimAudioProcessorEditor>(&plugIn);
    }

    KalimAudioProcessor plugIn;
    std::unique_ptr<KalimAudioProcessorEditor> editor =
        std::make_unique<KalimAudioProcessorEditor>(&plugIn);

    /// What the host is told: "(2v2)2" is a gesture that changes parameter 2, "p" another program.
    juce::String told;

    /// What the host is told and has not been asked for yet.
    juce::String takeTold() { return std::exchange(told, {}); }

    static void runMessageLoop(int milliseconds)
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil(milliseconds);
    }

private:
    using Host = juce::AudioProcessor;

    void audioProcessorChanged(Host*, const ChangeDetails& details) override
    {
        if (details.programChanged)
            told << "p";
    }

    void audioProcessorParameterChanged(Host*, int i, float) override { told << "v" << i; }

    void audioProcessorParameterChangeGestureBegin(Host*, int i) override { told << "(" << i; }

    void audioProcessorParameterChangeGestureEnd(Host*, int i) override { told << ")" << i; }

    static juce::Component* findBelow(juce::Component& parent, const juce::String& name)
    {
        for (juce::Component* const child : parent.getChildren())
            if (juce::Component* const found =
                    child->getName() == name ? child : findBelow(*child, name))
                return found;
        return nullptr;
    }
};

/// The mouse at a place in a component, after a button went down at `pressed`.
inline juce::MouseEvent makeMouseEvent(juce::Component& component, juce::Point<float> position,
                                       juce::Point<float> pressed,
                                       int modifiers = juce::ModifierKeys::leftButtonModifier)
{
    return juce::MouseEvent(juce::Desktop::getInstance().getMainMouseSource(), position, modifiers,
                            0.0F, 0.0F, 0.0F, 0.0F, 0.0F, &component, &component,
                            juce::Time::getCurrentTime(), pressed, {}, 1, position != pressed);
}
