#pragma once

#include <functional>
#include <juce_gui_basics/juce_gui_basics.h>
#include <utility>

/// An invisible part of another component that tells when that one's look changes. Message thread.
class LookAndFeelWatcher : public juce::Component
{
public:
    LookAndFeelWatcher(juce::Component& watched, std::function<void()> changed)
        : onChange(std::move(changed))
    {
        watched.addChildComponent(this);
    }

    void lookAndFeelChanged() override { onChange(); }

private:
    std::function<void()> onChange;
};
