#include "ui/ParameterSlider.h"

#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/ui/Mouse.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using orvo::audio::Kalimmer;

class Knob : public ::testing::Test, private juce::AudioProcessorListener
{
protected:
    Knob()
    {
        slider->setSliderStyle(juce::Slider::RotaryVerticalDrag);
        slider->setSize(88, 84);
        plugIn.juce::AudioProcessor::addListener(this);
    }

    ~Knob() override { plugIn.juce::AudioProcessor::removeListener(this); }

    void attach(int id)
    {
        slider->attachParameter(&plugIn, plugIn.getBaseProcessor().get(), id, true);
    }

    juce::MouseEvent at(float y, int modifiers) const
    {
        return makeMouseEvent(*slider, {40.0F, y}, {40.0F, y}, modifiers);
    }

    void turnWheel(int modifiers, float deltaY, bool isInertial = false)
    {
        juce::MouseWheelDetails wheel{};
        wheel.deltaY = deltaY;
        wheel.isInertial = isInertial;
        slider->mouseWheelMove(at(30.0F, modifiers), wheel);
    }

    KalimAudioProcessor plugIn;
    std::unique_ptr<ParameterSlider> slider = std::make_unique<ParameterSlider>("slider");
    juce::String told;

private:
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float) override
    {
        told << "v" << index;
    }

    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

    void audioProcessorParameterChangeGestureBegin(juce::AudioProcessor*, int index) override
    {
        told << "(" << index;
    }

    void audioProcessorParameterChangeGestureEnd(juce::AudioProcessor*, int index) override
    {
        told << ")" << index;
    }
};

constexpr int control = juce::ModifierKeys::ctrlModifier;
constexpr int controlDrag = control | juce::ModifierKeys::leftButtonModifier;
constexpr int shift = juce::ModifierKeys::shiftModifier;

} // namespace

TEST_F(Knob, writesItsParameterAndTellsTheHostOfDragsAndArrowKeys)
{
    slider->setValue(3.0);
    slider->startedDragging();
    slider->stoppedDragging();
    EXPECT_EQ(told, "");

    attach(Kalimmer::Adaptivity);
    EXPECT_EQ(told, ""); // taking a value over is no change
    EXPECT_EQ(slider->getValue(), 15.0);
    EXPECT_EQ(slider->getMaximum(), 80.0);
    EXPECT_EQ(slider->getInterval(), 1.0);
    EXPECT_EQ(slider->getDoubleClickReturnValue(), 15.0);
    slider->startedDragging();
    slider->setValue(20.0, juce::sendNotificationSync);
    slider->stoppedDragging();
    EXPECT_EQ(plugIn.getBaseProcessor()->getParameterValue(Kalimmer::Adaptivity), 20.0F);
    EXPECT_EQ(told, "(2v2)2");
    EXPECT_TRUE(slider->keyPressed(juce::KeyPress(juce::KeyPress::upKey)));
    EXPECT_FALSE(slider->keyPressed(juce::KeyPress(juce::KeyPress::escapeKey)));
    EXPECT_EQ(plugIn.getBaseProcessor()->getParameterValue(Kalimmer::Adaptivity), 21.0F);
    EXPECT_EQ(told, "(2v2)2(2v2)2");
}

TEST_F(Knob, dragsInFineStepsWithAModifier)
{
    attach(Kalimmer::FundamentalFrequency);
    slider->mouseDown(at(40.0F, controlDrag));
    slider->mouseDrag(at(36.0F, controlDrag)); // too soon
    EXPECT_NEAR(slider->getValue(), 50.0, 1.0e-6);
    juce::Thread::sleep(60);
    slider->mouseDrag(at(36.0F, controlDrag));
    EXPECT_NEAR(slider->getValue(), 50.1, 1.0e-6);
    juce::Thread::sleep(60);
    slider->mouseDrag(at(44.0F, controlDrag));
    EXPECT_NEAR(slider->getValue(), 49.9, 1.0e-6);
}

TEST_F(Knob, turnsByOneStepAtATimeWithAModifierAndTheWheel)
{
    attach(Kalimmer::Adaptivity);
    juce::Thread::sleep(60);
    turnWheel(control, 0.3F);
    turnWheel(control, 0.3F); // too soon
    EXPECT_EQ(slider->getValue(), 16.0);
    EXPECT_EQ(told, "(2v2)2");
    turnWheel(shift, 0.3F, true); // the momentum of a fine move
    EXPECT_EQ(slider->getValue(), 16.0);
    juce::Thread::sleep(60);
    turnWheel(control, -0.3F);
    EXPECT_EQ(slider->getValue(), 15.0);
    turnWheel(0, 0.3F);
    EXPECT_GT(slider->getValue(), 15.0);

    slider->setEnabled(false);
    const double value = slider->getValue();
    juce::Thread::sleep(60);
    turnWheel(control, 0.3F);
    slider->mouseDrag(at(10.0F, controlDrag));
    EXPECT_EQ(slider->getValue(), value);
}

TEST_F(Knob, letsGoOfItsParameterWhenItIsDestroyedInADrag)
{
    attach(Kalimmer::Sensitivity);
    slider->startedDragging();
    slider.reset();
    EXPECT_EQ(told, "(1)1");
}
