#include "ui/ParameterSlider.h"

#include <memory>
#include <utility>

namespace
{

/// Fine steps follow each other no faster than this.
constexpr double fineStepMilliseconds = 50.0;

/// How much of an interval a pixel of a fine drag is.
constexpr double finePixel = 0.25;

/// How long a turn of the wheel waits for the next notch.
constexpr int wheelPauseMilliseconds = 500;

bool asksForFineSteps(const juce::ModifierKeys& modifiers)
{
    return modifiers.testFlags(juce::ModifierKeys::ctrlModifier | juce::ModifierKeys::altModifier |
                               juce::ModifierKeys::commandModifier);
}

} // namespace

ParameterSlider::ParameterSlider(const juce::String& name)
    : juce::Slider(name)
{
}

ParameterSlider::~ParameterSlider()
{
    // The base class would end a drag only after this part is destroyed.
    endWheelGesture();
    if (std::exchange(gestureDepth, 0) > 0)
        plugIn->endParameterGesture(publicParameterIndex);
}

void ParameterSlider::attachParameter(BasePlugInProcessor* newPlugIn,
                                      orvo::audio::BaseAudioProcessor* dsp, int id, bool flag)
{
    plugIn = newPlugIn;
    processor = dsp;
    internalParameterId = id;
    writeFlag = flag;
    publicParameterIndex = plugIn->findPublicParameterIndex(id);
    const ParameterDescription* const description = plugIn->findPublicParameter(id);
    if (description == nullptr)
        return;
    float min = 0.0F;
    float max = 0.0F;
    processor->getParameterRange(id, min, max);
    // Taking a value over must not write one.
    enabled = false;
    setRange(min, max, description->getInterval());
    setValue(processor->getParameterValue(id), juce::dontSendNotification);
    enabled = true;
    // No modifier makes a click do the same as a double click: here they ask for fine steps.
    setDoubleClickReturnValue(true, description->getDefaultValue(), juce::ModifierKeys());
    fineStep = description->getInterval();
}

void ParameterSlider::valueChanged()
{
    if (!enabled || plugIn == nullptr || processor == nullptr)
        return;
    processor->setParameterValue(internalParameterId, static_cast<float>(getValue()), writeFlag);
    plugIn->notifyInternalParameterChange(internalParameterId);
}

void ParameterSlider::startedDragging()
{
    if (plugIn != nullptr && gestureDepth++ == 0)
        plugIn->beginParameterGesture(publicParameterIndex);
}

void ParameterSlider::stoppedDragging()
{
    if (gestureDepth > 0 && --gestureDepth == 0)
        plugIn->endParameterGesture(publicParameterIndex);
}

void ParameterSlider::mouseDown(const juce::MouseEvent& event)
{
    endWheelGesture();
    juce::Slider::mouseDown(event);
    rememberFineStep(event);
}

void ParameterSlider::mouseDrag(const juce::MouseEvent& event)
{
    if (!asksForFineSteps(event.mods))
    {
        juce::Slider::mouseDrag(event);
        return;
    }
    if (!isEnabled() || !isTimeForAFineStep())
        return;
    const bool isHorizontal =
        getSliderStyle() == RotaryHorizontalDrag || juce::Slider::isHorizontal();
    const int delta = isHorizontal ? event.x - lastFinePosition.x : lastFinePosition.y - event.y;
    setValue(getValue() + delta * static_cast<double>(fineStep) * finePixel,
             juce::sendNotification);
    rememberFineStep(event);
}

void ParameterSlider::mouseWheelMove(const juce::MouseEvent& event,
                                     const juce::MouseWheelDetails& wheel)
{
    if (!asksForFineSteps(event.mods))
    {
        // The momentum that follows a fine move must not end in a coarse one.
        if (!wheel.isInertial)
            isWheelFine = false;
        if (isWheelFine)
            return;
        continueWheelGesture();
        juce::Slider::mouseWheelMove(event, wheel);
        return;
    }
    isWheelFine = true;
    if (!isEnabled() || !isTimeForAFineStep())
        return;
    if (!wheel.isInertial)
    {
        const double direction = (wheel.deltaY >= 0.0F) == wheel.isReversed ? -1.0 : 1.0;
        continueWheelGesture();
        setValue(getValue() + direction * static_cast<double>(fineStep), juce::sendNotification);
    }
    lastFineStepTime = juce::Time::getMillisecondCounterHiRes();
}

void ParameterSlider::continueWheelGesture()
{
    if (!isEnabled())
        return;
    if (wheelGesture == nullptr)
        wheelGesture = std::make_unique<ScopedDragNotification>(*this);
    startTimer(wheelPauseMilliseconds);
}

void ParameterSlider::endWheelGesture()
{
    stopTimer();
    wheelGesture.reset();
}

void ParameterSlider::mouseExit(const juce::MouseEvent& event)
{
    endWheelGesture();
    juce::Slider::mouseExit(event);
}

bool ParameterSlider::keyPressed(const juce::KeyPress& key)
{
    const bool isArrow = key == juce::KeyPress::upKey || key == juce::KeyPress::downKey ||
                         key == juce::KeyPress::leftKey || key == juce::KeyPress::rightKey;
    if (!isArrow)
        return juce::Slider::keyPressed(key);
    endWheelGesture();
    const ScopedDragNotification gesture(*this);
    return juce::Slider::keyPressed(key);
}

void ParameterSlider::focusGained(FocusChangeType)
{
    repaint();
}

void ParameterSlider::focusLost(FocusChangeType)
{
    repaint();
}

bool ParameterSlider::isTimeForAFineStep() const
{
    return juce::Time::getMillisecondCounterHiRes() - lastFineStepTime > fineStepMilliseconds;
}

void ParameterSlider::rememberFineStep(const juce::MouseEvent& event)
{
    lastFinePosition = event.getPosition();
    lastFineStepTime = juce::Time::getMillisecondCounterHiRes();
}
