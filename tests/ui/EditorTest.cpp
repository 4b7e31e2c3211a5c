#include "tests/support/TestSignals.h"
#include "tests/ui/OpenEditor.h"

#include <cmath>
#include <thread>

namespace
{

using kalim::ui::CurveEditor;
using orvo::audio::Signal32;
using Editor = OpenEditor;

/// Hum at 50 Hz with three harmonics.
void playHum(KalimAudioProcessor& plugIn, int numBlocks)
{
    const double seconds = (numBlocks + 1) * 512 / 48000.0;
    Signal32 hum = testing_support::makeHum({.numHarmonics = 3}, 48000.0, seconds, 2);
    float* const channels[] = {hum.getWriteChannelPtr(0), hum.getWriteChannelPtr(1)};
    juce::MidiBuffer midi;
    for (int start = 0; start < numBlocks * 512; start += 512)
    {
        juce::AudioBuffer<float> block(channels, 2, start, 512);
        plugIn.processBlock(block, midi);
    }
}

} // namespace

TEST_F(Editor, namesEveryControlForHostsAndForThoseWhoDoNotSeeIt)
{
    int index = 0;
    for (const char* const name :
         {"frequencySlider", "sensitivitySlider", "adaptivitySlider", "harmonicsSlider",
          "oddHarmonicsToggle", "aggresiveToggle", "residualToggle", "undoButton", "redoButton",
          "aSettingsButton", "bSettingsButton", "copyButton", "menuButton", "nextPresetButton",
          "previousPresetButton", "currentPresetButton", "logoButton"})
    {
        auto& control = find(name);
        EXPECT_EQ(editor->getControlParameterIndex(control), index < 4 ? index++ : -1) << name;
        const auto* const toggle = dynamic_cast<const juce::ToggleButton*>(&control);
        EXPECT_NE(toggle == nullptr ? control.getTitle() : toggle->getButtonText(), "") << name;
        EXPECT_TRUE(control.getWantsKeyboardFocus()) << name;
    }
}

TEST_F(Editor, opensAtItsLastSizeIfThatIsSensible)
{
    editor->setSize(700, 440);
    reopen();
    EXPECT_EQ(editor->getBounds(), juce::Rectangle<int>(700, 440));
    for (const auto& [width, height, largest] :
         {std::tuple{"-5", "abc", 700}, {"2000000000", "2000000000", 99999}})
    {
        editor.reset();
        plugIn.getProperties().setValue("Kalim-LastWindowWidth", width);
        plugIn.getProperties().setValue("Kalim-LastWindowHeight", height);
        plugIn.getProperties().saveIfNeeded();
        reopen();
        EXPECT_TRUE(editor->getWidth() >= 680 && editor->getWidth() < largest) << width;
        EXPECT_TRUE(editor->getHeight() >= 424 && editor->getHeight() < largest) << height;
    }
}

/// Aggressive mode alone also disables the sensitivity, until it is undone.
TEST_F(Editor, writesItsSwitchesWithOneStepToUndoAndRedoEach)
{
    const auto& sensitivity = find("sensitivitySlider");
    for (const auto& [name, id] : {std::pair{"residualToggle", Kalimmer::ResidualMode},
                                   {"oddHarmonicsToggle", Kalimmer::OnlyOddHarmonics},
                                   {"aggresiveToggle", Kalimmer::AggressiveMode}})
    {
        auto& toggle = find<juce::Button>(name);
        toggle.setToggleState(true, juce::sendNotificationSync);
        EXPECT_EQ(valueOf(id), 1.0F) << name;
        EXPECT_NE(sensitivity.isEnabled(), id == Kalimmer::AggressiveMode) << name;
        click("undoButton");
        EXPECT_EQ(valueOf(id), 0.0F) << name;
        EXPECT_FALSE(plugIn.canUndo());
        editor->timerCallback();
        EXPECT_TRUE(sensitivity.isEnabled() && !toggle.getToggleState()) << name;
    }
    click("redoButton");
    EXPECT_EQ(valueOf(Kalimmer::AggressiveMode), 1.0F);
    editor->timerCallback();
    EXPECT_FALSE(sensitivity.isEnabled());
}

TEST_F(Editor, fitsItsAxisToTheRateAndMarksTheHarmonicsThatAreTracked)
{
    auto& curves = find<CurveEditor>("spectrumCurveEditor");
    const auto showWith = [&](int id, float value, int numBlocks)
    {
        setValue(id, value);
        playHum(plugIn, numBlocks);
        editor->timerCallback();
    };
    plugIn.prepareToPlay(48000.0, 512);
    showWith(Kalimmer::NumberOfHarmonics, 0.0F, 0);
    EXPECT_EQ(find<kalim::ui::Axis>("horizontalAxis").getValueRange(), juce::Range(20.0, 24000.0));
    EXPECT_EQ(curves.getHandle(1), nullptr);
    EXPECT_NEAR(curves.getHandle(0)->x, positionOf(50.0), 1.0e-6);

    showWith(Kalimmer::NumberOfHarmonics, 6.0F, 200);
    EXPECT_EQ(curves.getHandle(7), nullptr);
    for (int harmonic = 1; harmonic <= 6; ++harmonic)
    {
        const CurveEditor::Handle handle = *curves.getHandle(harmonic);
        EXPECT_NEAR(handle.x, positionOf(50.0 * harmonic), 1.0e-3);
        EXPECT_TRUE(harmonic > 3 || handle.colour == juce::Colours::green) << harmonic;
        EXPECT_NE(handle.isDashed, handle.colour == juce::Colours::green) << harmonic;
    }
    plugIn.reset();
    plugIn.prepareToPlay(48000.0, 512); // nothing is detected yet
    editor->timerCallback();
    EXPECT_EQ(curves.getHandle(1)->colour, juce::Colours::red);
    showWith(Kalimmer::OnlyOddHarmonics, 1.0F, 50);
    EXPECT_NEAR(curves.getHandle(2)->x, positionOf(150.0), 1.0e-3);
}

TEST_F(Editor, drawsTheSpectrumWithoutRepeatingBins)
{
    Signal32 magnitudes(2, 4096, 0.0F);
    const int tone = juce::roundToInt(1000.0 / 24001.0 * 4096);
    magnitudes.getWriteChannelPtr(0)[tone] = 0.2F; // the channels' mean is 0.1: -20 dB
    const auto points = editor->createCurve(magnitudes, {}, {}, 48000.0F, 600).points;
    EXPECT_LT(points.size(), 400U);
    float previous = -1.0F;
    float sum = 0.0F;
    for (const juce::Point<float>& point : points)
    {
        EXPECT_GT(point.x, std::exchange(previous, point.x));
        sum += point.y;
        EXPECT_TRUE(point.y == 0.0F || std::abs(point.x - positionOf(1000.0)) < 0.005);
    }
    EXPECT_NEAR(sum, 0.8F, 1.0e-4F);
}

TEST_F(Editor, comesAndGoesWhileItPlays)
{
    const auto playOn = [this](const std::stop_token& stop)
    {
        for (int i = 0; !stop.stop_requested(); ++i)
        {
            if (i % 50 == 0)
                plugIn.prepareToPlay(i % 100 == 0 ? 48000.0 : 44100.0, 512);
            playHum(plugIn, 4);
            plugIn.setParameter(i % 7, static_cast<float>(i % 11) / 10.0F);
        }
    };
    const std::jthread audio(playOn);
    for (int round = 0; round < 200; ++round)
    {
        reopen();
        editor->timerCallback();
        editor->setSize(680 + round % 7, 424 + round % 5);
        if (round % 10 == 0)
            editor->createComponentSnapshot(editor->getLocalBounds());
    }
}
