#include "tests/ui/OpenEditor.h"

namespace
{

class Knob : public OpenEditor
{
protected:
    Knob()
    {
        slider->setSliderStyle(juce::Slider::RotaryVerticalDrag);
        slider->setSize(88, 84);
    }

    void attach(int id)
    {
        slider->attachParameter(&plugIn, plugIn.getBaseProcessor().get(), id, true);
    }

    juce::MouseEvent at(float y, int modifiers) const
    {
        return makeMouseEvent(*slider, {40.0F, y}, {40.0F, y}, modifiers);
    }

    double turnWheel(int modifiers, float deltaY, bool isInertial = false)
    {
        slider->mouseWheelMove(at(30.0F, modifiers), {0.0F, deltaY, false, false, isInertial});
        return slider->getValue();
    }

    /// Till the next fine step is taken.
    static void wait() { juce::Thread::sleep(60); }

    std::unique_ptr<ParameterSlider> slider = std::make_unique<ParameterSlider>("slider");
};

constexpr int control = juce::ModifierKeys::ctrlModifier;
constexpr int controlDrag = control | juce::ModifierKeys::leftButtonModifier;
constexpr int shift = juce::ModifierKeys::shiftModifier;

} // namespace

TEST_F(Knob, writesItsParameterAndTellsTheHostOfDragsAndArrowKeys)
{
    const auto dragTo = [this](double value)
    {
        slider->startedDragging();
        slider->setValue(value, juce::sendNotificationSync);
        slider->stoppedDragging();
        return valueOf(orvo::audio::Kalimmer::Adaptivity);
    };
    EXPECT_EQ(dragTo(3.0), 15.0F);
    attach(Kalimmer::Adaptivity);
    EXPECT_EQ(told, ""); // taking a value over is no change
    EXPECT_EQ(slider->getValue(), 15.0);
    EXPECT_EQ(slider->getMaximum(), 80.0);
    EXPECT_EQ(slider->getInterval(), 1.0);
    EXPECT_EQ(slider->getDoubleClickReturnValue(), 15.0);
    EXPECT_EQ(dragTo(20.0), 20.0F);
    EXPECT_EQ(told, "(2v2)2");
    EXPECT_TRUE(slider->keyPressed(juce::KeyPress(juce::KeyPress::upKey)));
    EXPECT_FALSE(slider->keyPressed(juce::KeyPress(juce::KeyPress::escapeKey)));
    EXPECT_EQ(valueOf(Kalimmer::Adaptivity), 21.0F);
    EXPECT_EQ(told, "(2v2)2(2v2)2");
}

TEST_F(Knob, dragsInFineStepsWithAModifier)
{
    attach(Kalimmer::FundamentalFrequency);
    slider->mouseDown(at(40.0F, controlDrag));
    slider->mouseDrag(at(36.0F, controlDrag)); // too soon
    EXPECT_NEAR(slider->getValue(), 50.0, 1.0e-6);
    for (const auto& [y, value] : {std::pair{36.0F, 50.1}, {44.0F, 49.9}})
    {
        wait();
        slider->mouseDrag(at(y, controlDrag));
        EXPECT_NEAR(slider->getValue(), value, 1.0e-6);
    }
}

TEST_F(Knob, turnsByOneStepAtATimeWithAModifierAndTheWheel)
{
    attach(Kalimmer::Adaptivity);
    wait();
    EXPECT_EQ(turnWheel(control, 0.3F), 16.0);
    EXPECT_EQ(turnWheel(control, 0.3F), 16.0); // too soon
    EXPECT_EQ(told, "(2v2)2");
    EXPECT_EQ(turnWheel(shift, 0.3F, true), 16.0); // the momentum of a fine move
    wait();
    EXPECT_EQ(turnWheel(control, -0.3F), 15.0);
    const double value = turnWheel(0, 0.3F);
    EXPECT_GT(value, 15.0);

    slider->setEnabled(false);
    wait();
    EXPECT_EQ(turnWheel(control, 0.3F), value);
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
