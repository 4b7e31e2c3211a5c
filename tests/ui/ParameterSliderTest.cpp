#include "tests/ui/OpenEditor.h"

namespace
{

constexpr int controlKey = juce::ModifierKeys::ctrlModifier;
constexpr int controlDrag = controlKey | juce::ModifierKeys::leftButtonModifier;

class Knob : public OpenEditor
{
protected:
    void attach(int id)
    {
        slider->setSliderStyle(juce::Slider::RotaryVerticalDrag);
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

} // namespace

TEST_F(Knob, writesItsParameterAndTellsTheHostOfDragsAndArrowKeys)
{
    slider->setValue(3.0, juce::sendNotificationSync);
    attach(Kalimmer::Adaptivity);
    EXPECT_EQ(told, ""); // taking a value over is no change
    EXPECT_EQ(slider->getValue(), 15.0);
    slider->startedDragging();
    slider->setValue(20.0, juce::sendNotificationSync);
    slider->stoppedDragging();
    EXPECT_EQ(valueOf(Kalimmer::Adaptivity), 20.0F);
    EXPECT_TRUE(slider->keyPressed(juce::KeyPress(juce::KeyPress::upKey)));
    EXPECT_FALSE(slider->keyPressed(juce::KeyPress(juce::KeyPress::escapeKey)));
    EXPECT_EQ(valueOf(Kalimmer::Adaptivity), 21.0F);
    EXPECT_EQ(told, "(2v2)2(2v2)2");
    slider->startedDragging();
    slider.reset(); // lets go of its parameter
    EXPECT_EQ(told, "(2v2)2(2v2)2(2)2");
}

TEST_F(Knob, understandsWhatPeopleTypeAndKeepsItsValueAtTheRest)
{
    attach(Kalimmer::FundamentalFrequency);
    slider->setValue(55.0);
    for (const auto& [text, expected] : {std::pair{"60", 60.0},
                                         {" 60.5 Hz", 60.5},
                                         {"60,5", 60.5},
                                         {"+61,25hz", 61.25},
                                         {"1000", 500.0},
                                         {"-3", 40.0}})
        EXPECT_EQ(slider->getValueFromText(text), expected) << text;
    for (const char* const text : {"", "abc", "6o", "60 %", "1.000,5", "--5", ".", "Hz", "On"})
        EXPECT_EQ(slider->getValueFromText(text), slider->getValue()) << text;
}

TEST_F(Knob, carriesWhatRoundingSwallowsAndGoesOnFromThereWithoutTheModifier)
{
    constexpr int drag = juce::ModifierKeys::leftButtonModifier;
    attach(Kalimmer::FundamentalFrequency);
    slider->setSize(88, 84);
    slider->setValue(60.0, juce::sendNotificationSync);
    const auto press = juce::Point<float>(40.0F, 400.0F);
    const auto dragTo = [&](float y, int modifiers)
    {
        wait();
        slider->mouseDrag(makeMouseEvent(*slider, {40.0F, y}, press, modifiers));
        return slider->getValue();
    };
    slider->mouseDown(makeMouseEvent(*slider, press, press, controlDrag));
    // A quarter of 0.1 Hz each.
    for (int pixel = 1; pixel <= 20; ++pixel)
        EXPECT_NEAR(dragTo(400.0F - static_cast<float>(pixel), controlDrag), 60.0 + 0.025 * pixel,
                    0.0501)
            << pixel;
    EXPECT_NEAR(slider->getValue(), 60.5, 1.0e-6);

    EXPECT_NEAR(dragTo(380.0F, drag), 60.5, 1.0e-6);
    const double perPixel = dragTo(379.0F, drag) - 60.5;
    EXPECT_GT(perPixel, 0.5); // 250 points are the whole range
    EXPECT_LT(perPixel, 5.0);
    EXPECT_NEAR(dragTo(380.0F, drag), 60.5, 0.2);
    slider->mouseUp(makeMouseEvent(*slider, {40.0F, 380.0F}, press, drag));
    EXPECT_EQ(takeTold().retainCharacters("()"), "()");
}

TEST_F(Knob, movesInFineStepsWithAModifierByMouseAndByWheel)
{
    attach(Kalimmer::Adaptivity);
    wait();
    EXPECT_EQ(turnWheel(controlKey, 0.3F), 16.0);
    EXPECT_EQ(told, "(2v2");
    runMessageLoop(600);
    EXPECT_EQ(told, "(2v2)2");
    EXPECT_EQ(turnWheel(0, 0.3F, true), 16.0); // the momentum of a fine move
    wait();
    EXPECT_EQ(turnWheel(controlKey, -0.3F), 15.0);
    double value = turnWheel(0, 0.3F);
    EXPECT_GT(value, 15.0);

    // Hurrying does not help: at most one step in 50 ms, however long the turns take.
    const double start = juce::Time::getMillisecondCounterHiRes();
    for (int turn = 0; turn < 10; ++turn)
        turnWheel(controlKey, 0.3F);
    const double elapsed = juce::Time::getMillisecondCounterHiRes() - start;
    EXPECT_LE(slider->getValue(), value + 1.0 + elapsed / 50.0);

    attach(Kalimmer::FundamentalFrequency);
    slider->mouseDown(at(40.0F, controlDrag));
    for (const auto& [y, expected] : {std::pair{36.0F, 50.1}, {44.0F, 49.9}})
    {
        wait();
        slider->mouseDrag(at(y, controlDrag));
        EXPECT_NEAR(slider->getValue(), expected, 1.0e-6);
    }

    slider->mouseUp(at(44.0F, controlDrag));

    slider->setEnabled(false);
    wait();
    value = slider->getValue();
    slider->mouseDrag(at(10.0F, controlDrag));
    EXPECT_EQ(turnWheel(controlKey, 0.3F), value);
}
