#pragma once

#include "plugin/BasePluginProcessor.h"

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>

/// A knob bound to one parameter of the processor. Values go straight to the processor, gestures
/// and new values to the host. With control, alt or command held, drags and wheel moves change the
/// value in fine steps. Notches of the wheel that follow each other within half a second are one
/// gesture. Message thread.
class ParameterSlider : public juce::Slider, private juce::Timer
{
public:
    explicit ParameterSlider(const juce::String& name);
    ~ParameterSlider() override;

    /// Binds the slider to the processor's parameter `id` and takes over its range, value and
    /// default; where the parameter is not public, range and value stay. `flag` is handed to the
    /// processor with every value. May be called again, to take over a value that was changed
    /// elsewhere.
    void attachParameter(BasePlugInProcessor* processor, orvo::audio::BaseAudioProcessor* dsp,
                         int id, bool flag);

    /// -1 before a public parameter is attached.
    int getPublicParameterIndex() const { return publicParameterIndex; }

    /// How many gestures are open, one within the other: 1 is the outermost.
    int getGestureDepth() const { return gestureDepth; }

    /// Does not wait whether more notches follow.
    void endWheelGesture();

    void valueChanged() override;
    void startedDragging() override;
    void stoppedDragging() override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseWheelMove(const juce::MouseEvent& event,
                        const juce::MouseWheelDetails& wheel) override;

    /// The arrow keys change the value by a step, as a gesture of its own.
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;
    void mouseExit(const juce::MouseEvent& event) override;

private:
    void timerCallback() override { endWheelGesture(); }

    void continueWheelGesture();
    bool isTimeForAFineStep() const;
    void rememberFineStep(const juce::MouseEvent& event);

    bool enabled = true;
    BasePlugInProcessor* plugIn = nullptr;
    orvo::audio::BaseAudioProcessor* processor = nullptr;
    int publicParameterIndex = -1;
    int internalParameterId = -1;
    bool writeFlag = true;
    float fineStep = 1.0F;
    juce::Point<int> lastFinePosition;
    double lastFineStepTime = 0.0;
    bool isWheelFine = false;
    int gestureDepth = 0;
    std::unique_ptr<ScopedDragNotification> wheelGesture;
};
