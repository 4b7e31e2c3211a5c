#include "tests/ui/OpenEditor.h"
#include "ui/plot/CurveEditor.h"

namespace
{

class History : public OpenEditor
{
protected:
    ParameterSlider& frequency() { return find<ParameterSlider>("frequencySlider"); }

    void press(juce::Component& component, juce::Point<float> place)
    {
        component.mouseDown(makeMouseEvent(component, place, place));
    }

    void release(juce::Component& component, juce::Point<float> place)
    {
        component.mouseUp(makeMouseEvent(component, place, place));
    }

    void turnWheel(ParameterSlider& slider, float notches)
    {
        // Later than the turn before, or it would count as the same.
        juce::Thread::sleep(2);
        slider.mouseWheelMove(makeMouseEvent(slider, {40.0F, 30.0F}, {40.0F, 30.0F}, 0),
                              {0.0F, notches, false, false, false});
    }

    /// A gesture that changes the parameter.
    void change(const char* name, double value)
    {
        auto& slider = find<juce::Slider>(name);
        const juce::Slider::ScopedDragNotification gesture(slider);
        slider.setValue(value, juce::sendNotificationSync);
    }

    std::pair<bool, bool> arrows()
    {
        editor->timerCallback();
        return {find("undoButton").isEnabled(), find("redoButton").isEnabled()};
    }

    juce::String presetAfter(const char* name)
    {
        click(name);
        return plugIn.getProgramName(plugIn.getCurrentProgram());
    }
};

} // namespace

TEST_F(History, tellsTheHostOfEveryValueThatItChangesAndOfTheProgram)
{
    const auto toldOf = [this](const char* name)
    {
        takeTold();
        click(name);
        return takeTold();
    };
    change("frequencySlider", 61.0);
    change("adaptivitySlider", 7.0);
    EXPECT_EQ(toldOf("undoButton"), "v2");
    EXPECT_EQ(toldOf("undoButton"), "v0");
    EXPECT_EQ(toldOf("undoButton"), "");
    EXPECT_EQ(toldOf("redoButton"), "v0");
    EXPECT_EQ(toldOf("bSettingsButton"), "v0");
    EXPECT_EQ(toldOf("aSettingsButton"), "v0");

    EXPECT_TRUE(toldOf("nextPresetButton").endsWith("p"));
    EXPECT_TRUE(toldOf("undoButton").containsAnyOf("v") && plugIn.getCurrentProgram() == 0);
    BasePluginEditor::plugInMenuCallback(8448 + 3, editor.get());
    EXPECT_TRUE(takeTold().endsWith("p"));
    EXPECT_TRUE(toldOf("undoButton").endsWith("p"));
    // Which the host knows by itself.
    plugIn.setCurrentProgram(3);
    EXPECT_FALSE(takeTold().contains("p"));
}

TEST_F(History, belongsToItsSlot)
{
    change("frequencySlider", 61.0);
    click("bSettingsButton"); // which has 50 Hz, and nothing that could be undone
    EXPECT_EQ(arrows(), std::pair(false, false));
    change("frequencySlider", 72.0);
    click("aSettingsButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 61.0F);
    click("undoButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
    EXPECT_EQ(arrows(), std::pair(false, true));
    click("bSettingsButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 72.0F);
    EXPECT_EQ(arrows(), std::pair(true, false));
    click("undoButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
}

TEST_F(History, isNotTouchedByGesturesThatChangeNothing)
{
    EXPECT_EQ(arrows(), std::pair(false, false));
    change("frequencySlider", 61.0);
    click("undoButton");
    EXPECT_EQ(arrows(), std::pair(false, true));

    press(frequency(), {40.0F, 30.0F});
    release(frequency(), {40.0F, 30.0F});
    EXPECT_EQ(arrows(), std::pair(false, true));
    auto& plot = find<kalim::ui::CurveEditor>("spectrumCurveEditor");
    const juce::Point<float> handle{static_cast<float>(positionOf(50.0) * plot.getWidth()), 1.0F};
    press(plot, handle);
    release(plot, handle);
    runMessageLoop(20);
    EXPECT_EQ(takeTold(), "(0v0)0v0(0)0");
    EXPECT_EQ(arrows(), std::pair(false, true));
    editor->loadPresetFile("/nowhere/missing.xml");
    EXPECT_EQ(arrows(), std::pair(false, true));

    change("adaptivitySlider", 7.0);
    EXPECT_EQ(arrows(), std::pair(true, false));
}

TEST_F(History, takesNotchesOfTheWheelWithinHalfASecondForOneGesture)
{
    turnWheel(frequency(), 0.1F);
    runMessageLoop(300);
    turnWheel(frequency(), 0.1F);
    runMessageLoop(300);
    turnWheel(frequency(), -0.1F);
    EXPECT_EQ(takeTold(), "(0v0v0v0");
    auto& adaptivity = find<ParameterSlider>("adaptivitySlider");
    turnWheel(adaptivity, 0.1F); // another one is another gesture at once
    runMessageLoop(700);
    EXPECT_EQ(takeTold(), "(2)0v2)2");
    turnWheel(adaptivity, 0.1F);
    press(adaptivity, {40.0F, 30.0F});
    EXPECT_EQ(takeTold(), "(2v2)2(2");
    release(adaptivity, {40.0F, 30.0F});
    for (const float expected : {15.0F, 15.0F})
    {
        click("undoButton");
        EXPECT_NE(valueOf(Kalimmer::Adaptivity), 0.0F) << expected;
    }
    EXPECT_EQ(valueOf(Kalimmer::Adaptivity), 15.0F);
    EXPECT_GT(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
    click("undoButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
    EXPECT_EQ(arrows(), std::pair(false, true));
}

TEST_F(History, leadsToTheNeighboursOfThePresetThatIsLoaded)
{
    const auto nameOf = [this](int program) { return plugIn.getProgramName(program); };
    plugIn.setCurrentProgram(7);
    plugIn.setCurrentProgram(12);
    click("undoButton");
    EXPECT_EQ(presetAfter("nextPresetButton"), nameOf(8));

    juce::MemoryBlock state;
    plugIn.setCurrentProgram(15);
    plugIn.getStateInformation(state);
    plugIn.setCurrentProgram(2);
    plugIn.setStateInformation(state.getData(), static_cast<int>(state.getSize()));
    juce::Thread::sleep(250); // the host might still be restoring
    EXPECT_EQ(presetAfter("previousPresetButton"), nameOf(14));

    const juce::File folder = plugIn.getUserPresetFolder();
    for (const char* const name : {"a", "c", "b"})
        editor->savePresetFile(folder.getChildFile(juce::String(name) + ".xml").getFullPathName());
    EXPECT_EQ(presetAfter("previousPresetButton"), "a");
    const juce::File elsewhere = folder.getChildFile("c.xml");
    editor->loadPresetFile(elsewhere.getFullPathName());
    EXPECT_EQ(presetAfter("nextPresetButton"), nameOf(0));
    EXPECT_TRUE(folder.deleteRecursively());
}
