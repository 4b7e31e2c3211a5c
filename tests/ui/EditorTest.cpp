#include "tests/support/TestSignals.h"
#include "tests/ui/OpenEditor.h"

#include <atomic>
#include <cmath>
#include <thread>

namespace
{

using orvo::audio::Signal32;

using Editor = OpenEditor;

/// Hum at 50 Hz with three harmonics through the plug-in.
void playHum(KalimAudioProcessor& plugIn, int numBlocks)
{
    const double seconds = (numBlocks + 1) * 512 / 48000.0;
    const Signal32 hum = testing_support::makeHum({.numHarmonics = 3}, 48000.0, seconds, 2);
    juce::AudioBuffer<float> block(2, 512);
    juce::MidiBuffer midi;
    for (int i = 0; i < numBlocks; ++i)
    {
        for (const int channel : {0, 1})
            block.copyFrom(channel, 0, hum.getReadChannelPtr(channel) + i * 512, 512);
        plugIn.processBlock(block, midi);
    }
}

} // namespace

TEST_F(Editor, hasItsControlsWhereTheyBelong)
{
    editor->setSize(800, 500);
    const auto expectControl = [&](const char* name, juce::Rectangle<int> bounds, int index = -1)
    {
        auto& control = find<juce::Component>(name);
        EXPECT_EQ(control.getBounds(), bounds) << name;
        EXPECT_EQ(editor->getControlParameterIndex(control), index) << name;
    };
    expectControl("spectrumAxis", {8, 48, 48, 284});
    expectControl("spectrumCurveEditor", {56, 64, 720, 252});
    expectControl("horizontalAxis", {40, 316, 752, 40});
    expectControl("frequencyLabel", {8, 364, 88, 28});
    expectControl("frequencySlider", {8, 396, 88, 84}, 0);
    expectControl("sensitivitySlider", {104, 396, 88, 84}, 1);
    expectControl("adaptivitySlider", {200, 396, 88, 84}, 2);
    expectControl("harmonicsSlider", {296, 396, 88, 84}, 3);
    expectControl("oddHarmonicsToggle", {392, 372, 272, 64});
    expectControl("aggresiveToggle", {392, 440, 272, 24});
    expectControl("residualToggle", {392, 462, 272, 24});
}

TEST_F(Editor, opensAtItsLastSizeIfThatIsSensible)
{
    const juce::Rectangle<int> smallest(680, 424);
    juce::PropertiesFile& properties = plugIn.getProperties();
    editor.reset();
    properties.clear();
    properties.save();
    reopen();
    EXPECT_EQ(editor->getBounds(), smallest);
    const auto boundsWith = [&](const juce::var& width, const juce::var& height)
    {
        editor.reset();
        properties.setValue("Kalim-LastWindowWidth", width);
        properties.setValue("Kalim-LastWindowHeight", height);
        properties.saveIfNeeded();
        reopen();
        return editor->getBounds();
    };
    EXPECT_EQ(boundsWith(-5, "abc"), smallest);
    EXPECT_TRUE(smallest.withSize(99999, 99999).contains(boundsWith(2000000000, 2000000000)));
    editor->setSize(690, 431);
    reopen();
    EXPECT_EQ(editor->getBounds(), juce::Rectangle<int>(690, 431));
}

TEST_F(Editor, writesItsSwitchesWithOneStepToUndoAndRedoEach)
{
    for (const auto& [name, id] : {std::pair{"residualToggle", Kalimmer::ResidualMode},
                                   {"oddHarmonicsToggle", Kalimmer::OnlyOddHarmonics},
                                   {"aggresiveToggle", Kalimmer::AggressiveMode}})
    {
        flip(name);
        EXPECT_EQ(valueOf(id), 1.0F) << name;
        click("undoButton");
        EXPECT_EQ(valueOf(id), 0.0F) << name;
        EXPECT_FALSE(plugIn.canUndo());
        editor->timerCallback();
        EXPECT_FALSE(find<juce::Button>(name).getToggleState());
    }
    click("redoButton");
    EXPECT_EQ(valueOf(Kalimmer::AggressiveMode), 1.0F);
}

TEST_F(Editor, disablesTheSensitivityInAggressiveModeWhoeverSetsIt)
{
    const auto& sensitivity = find<juce::Component>("sensitivitySlider");
    EXPECT_TRUE(sensitivity.isEnabled());
    flip("aggresiveToggle");
    EXPECT_FALSE(sensitivity.isEnabled());
    flip("aggresiveToggle");
    EXPECT_TRUE(sensitivity.isEnabled());
    std::thread([&] { plugIn.setParameter(Kalimmer::AggressiveMode, 1.0F); }).join();
    editor->timerCallback();
    EXPECT_FALSE(sensitivity.isEnabled());
    plugIn.setCurrentProgram(0);
    editor->timerCallback();
    EXPECT_TRUE(sensitivity.isEnabled());
}

TEST_F(Editor, marksTheHarmonicsThatAreTracked)
{
    auto& curves = find<CurveEditor>("spectrumCurveEditor");
    setValue(Kalimmer::NumberOfHarmonics, 0.0F);
    plugIn.prepareToPlay(48000.0, 512);
    editor->timerCallback();
    EXPECT_EQ(curves.getHandle(1), nullptr);
    ASSERT_NE(curves.getHandle(0), nullptr);
    EXPECT_NEAR(curves.getHandle(0)->x, std::log10(50.0 / 40.0) / std::log10(50.0), 1.0e-6);
    EXPECT_EQ(curves.getHandle(0)->shape, CurveEditor::Handle::triangle);

    setValue(Kalimmer::NumberOfHarmonics, 6.0F);
    playHum(plugIn, 200);
    editor->timerCallback();
    EXPECT_EQ(curves.getHandle(7), nullptr);
    for (int harmonic = 1; harmonic <= 6; ++harmonic)
    {
        ASSERT_NE(curves.getHandle(harmonic), nullptr);
        const CurveEditor::Handle handle = *curves.getHandle(harmonic);
        EXPECT_NEAR(handle.x, std::log10(50.0 * harmonic / 40.0) / std::log10(50.0), 1.0e-3);
        EXPECT_TRUE(harmonic > 3 || handle.colour == juce::Colours::green) << harmonic;
    }
    plugIn.reset();
    plugIn.prepareToPlay(48000.0, 512); // nothing is detected yet
    editor->timerCallback();
    EXPECT_EQ(curves.getHandle(6)->colour, juce::Colours::red);
    setValue(Kalimmer::OnlyOddHarmonics, 1.0F);
    playHum(plugIn, 50);
    editor->timerCallback();
    EXPECT_NEAR(curves.getHandle(2)->x, std::log10(150.0 / 40.0) / std::log10(50.0), 1.0e-3);
}

TEST_F(Editor, letsTheFundamentalBeDraggedWithinItsRange)
{
    auto& curves = find<CurveEditor>("spectrumCurveEditor");
    editor->timerCallback();
    plugIn.prepareToPlay(48000.0, 512);
    const auto drag = [&](float x)
    {
        curves.moveHandle(0, {x, 0.3F});
        juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
    };
    drag(1.5F);
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 500.0F);
    EXPECT_EQ(curves.getHandle(0)->y, 1.0F);
    EXPECT_NEAR(curves.getHandle(0)->x, std::log10(500.0 / 40.0) / std::log10(50.0), 1.0e-6);
    drag(static_cast<float>(std::log10(61.0 / 40.0) / std::log10(50.0)));
    EXPECT_NEAR(valueOf(Kalimmer::FundamentalFrequency), 61.0F, 0.051F); // in steps of 0.1 Hz
    plugIn.undo();
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 500.0F);
    plugIn.undo();
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
}

TEST_F(Editor, fitsTheFrequencyAxisToTheRate)
{
    const auto& axis = find<Axis>("horizontalAxis");
    plugIn.prepareToPlay(44100.0, 512);
    editor->timerCallback();
    EXPECT_EQ(axis.getValueRange(), juce::Range<double>(40.0, 2000.0));
    plugIn.prepareToPlay(48000.0, 512);
    editor->timerCallback();
    EXPECT_EQ(axis.getValueRange(), juce::Range<double>(20.0, 24000.0));
}

TEST_F(Editor, drawsTheSpectrumWithoutRepeatingBins)
{
    constexpr int numBins = 4096;
    Signal32 magnitudes(2, numBins, 0.0F);
    const int tone = juce::roundToInt(1000.0 / 24001.0 * numBins);
    magnitudes.getWriteChannelPtr(0)[tone] = 0.2F; // the channels' mean is 0.1: -20 dB
    const Curve curve = editor->createCurve(magnitudes, {}, {}, 48000.0F, 600);
    EXPECT_LT(curve.points.size(), 400U);
    int numPeaks = 0;
    float previous = -1.0F;
    for (const juce::Point<float>& point : curve.points)
    {
        EXPECT_GT(point.x, previous);
        previous = point.x;
        if (point.y == 0.0F)
            continue;
        ++numPeaks;
        EXPECT_NEAR(point.y, 0.8F, 1.0e-4F);
        EXPECT_NEAR(point.x, std::log10(1000.0 / 40.0) / std::log10(50.0), 0.005);
    }
    EXPECT_EQ(numPeaks, 1);
}

TEST_F(Editor, namesEveryControlForThoseWhoDoNotSeeIt)
{
    for (const char* const name :
         {"undoButton", "redoButton", "aSettingsButton", "bSettingsButton", "copyButton",
          "menuButton", "nextPresetButton", "previousPresetButton", "currentPresetButton",
          "logoButton", "frequencySlider", "sensitivitySlider", "adaptivitySlider",
          "harmonicsSlider", "oddHarmonicsToggle", "aggresiveToggle", "residualToggle"})
    {
        const auto& control = find<juce::Component>(name);
        const auto* const toggle = dynamic_cast<const juce::ToggleButton*>(&control);
        const juce::String title = toggle == nullptr ? control.getTitle() : toggle->getButtonText();
        EXPECT_TRUE(title.isNotEmpty()) << name;
        EXPECT_TRUE(control.getWantsKeyboardFocus()) << name;
    }
}

TEST_F(Editor, comesAndGoesWhileItPlays)
{
    editor.reset();
    std::atomic<bool> isRunning{true};
    plugIn.prepareToPlay(48000.0, 512);
    std::thread audio(
        [&]
        {
            for (int i = 0; isRunning; ++i)
            {
                playHum(plugIn, 4);
                plugIn.setParameter(i % 7, static_cast<float>(i % 11) / 10.0F);
                if (i % 50 == 49)
                    plugIn.prepareToPlay(i % 100 == 99 ? 48000.0 : 44100.0, 512);
            }
        });
    juce::Image picture(juce::Image::RGB, 680, 424, true, juce::SoftwareImageType());
    for (int round = 0; round < 200; ++round)
    {
        reopen();
        editor->timerCallback();
        editor->setSize(680 + round % 7, 424 + round % 5);
        if (round % 10 == 0)
        {
            juce::Graphics graphics(picture);
            editor->paintEntireComponent(graphics, true);
        }
        editor.reset();
    }
    isRunning = false;
    audio.join();
}
