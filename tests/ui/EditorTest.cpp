#include "dsp/hum/Kalimmer.h"
#include "tests/ui/OpenEditor.h"

#include <atomic>
#include <cmath>
#include <thread>

namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

using Editor = OpenEditor;

/// Hum at 50 Hz with three harmonics through the plug-in.
void playHum(KalimAudioProcessor& plugIn, int numBlocks)
{
    juce::AudioBuffer<float> block(2, 512);
    juce::MidiBuffer midi;
    for (int i = 0; i < numBlocks; ++i)
    {
        for (int n = 0; n < 512; ++n)
        {
            const double phase = 2.0 * 3.14159265358979 * 50.0 * (i * 512 + n) / 48000.0;
            const double hum =
                std::sin(phase) + 0.5 * std::sin(2 * phase) + 0.3 * std::sin(3 * phase);
            block.setSample(0, n, static_cast<float>(0.1 * hum));
            block.setSample(1, n, static_cast<float>(0.1 * hum));
        }
        plugIn.processBlock(block, midi);
    }
}

} // namespace

TEST_F(Editor, hasItsControlsWhereTheyBelong)
{
    editor->setSize(800, 500);
    const auto expectBounds = [&](const char* name, juce::Rectangle<int> bounds)
    { EXPECT_EQ(find<juce::Component>(name).getBounds(), bounds) << name; };
    expectBounds("spectrumAxis", {8, 48, 48, 284});
    expectBounds("spectrumCurveEditor", {56, 64, 720, 252});
    expectBounds("horizontalAxis", {40, 316, 752, 40});
    expectBounds("frequencyLabel", {8, 364, 88, 28});
    expectBounds("frequencySlider", {8, 396, 88, 84});
    expectBounds("sensitivitySlider", {104, 396, 88, 84});
    expectBounds("adaptivitySlider", {200, 396, 88, 84});
    expectBounds("harmonicsSlider", {296, 396, 88, 84});
    expectBounds("oddHarmonicsToggle", {392, 372, 272, 64});
    expectBounds("aggresiveToggle", {392, 440, 272, 24});
    expectBounds("residualToggle", {392, 462, 272, 24});
    EXPECT_EQ(find<juce::Label>("detectionLabel").getText(), "Sensitiviy\n(%)");
    EXPECT_EQ(find<juce::Button>("aggresiveToggle").getButtonText(), "Aggressive hum removal");
    EXPECT_EQ(find<ParameterSlider>("harmonicsSlider").getPublicParameterIndex(), 3);
    EXPECT_EQ(editor->getControlParameterIndex(find<juce::Component>("adaptivitySlider")), 2);
    EXPECT_EQ(editor->getControlParameterIndex(find<juce::Component>("residualToggle")), -1);
}

TEST_F(Editor, opensAtItsLastSizeIfThatIsSensible)
{
    const auto forget = [&]
    {
        editor.reset();
        plugIn.getProperties().removeValue("Kalim-LastWindowWidth");
        plugIn.getProperties().removeValue("Kalim-LastWindowHeight");
        plugIn.getProperties().save();
    };
    forget();
    reopen();
    EXPECT_EQ(editor->getBounds(), juce::Rectangle<int>(680, 424));
    const auto sizeWith = [&](const juce::var& width, const juce::var& height)
    {
        editor.reset();
        plugIn.getProperties().setValue("Kalim-LastWindowWidth", width);
        plugIn.getProperties().setValue("Kalim-LastWindowHeight", height);
        plugIn.getProperties().saveIfNeeded();
        reopen();
        return juce::Point<int>(editor->getWidth(), editor->getHeight());
    };
    EXPECT_EQ(sizeWith(-5, "abc"), juce::Point<int>(680, 424));
    const juce::Point<int> huge = sizeWith(2000000000, 2000000000);
    EXPECT_LT(huge.x, 100000);
    EXPECT_LT(huge.y, 100000);
    sizeWith(680, 424);
    editor->setSize(690, 431);
    reopen();
    EXPECT_EQ(editor->getBounds(), juce::Rectangle<int>(690, 431));
    forget();
}

TEST_F(Editor, writesItsSwitchesWithOneUndoStepEach)
{
    for (const auto& [name, id] : {std::pair{"residualToggle", Kalimmer::ResidualMode},
                                   {"oddHarmonicsToggle", Kalimmer::OnlyOddHarmonics},
                                   {"aggresiveToggle", Kalimmer::AggressiveMode}})
    {
        flip(name);
        EXPECT_EQ(valueOf(id), 1.0F) << name;
        plugIn.undo();
        EXPECT_EQ(valueOf(id), 0.0F) << name;
        EXPECT_FALSE(plugIn.canUndo());
        editor->timerCallback();
        EXPECT_FALSE(find<juce::Button>(name).getToggleState());
    }
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
    const CurveEditor::Handle fundamental = *curves.getHandle(0);
    EXPECT_NEAR(fundamental.x, std::log10(50.0 / 40.0) / std::log10(50.0), 1.0e-6);
    EXPECT_EQ(fundamental.shape, 3);
    EXPECT_EQ(fundamental.colour, juce::Colour(0xFFEEAC18));

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
    const Curve curve =
        editor->createCurve(magnitudes, juce::Colours::red, juce::Colours::white, 48000.0F, 600);
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
    EXPECT_TRUE(
        editor->createCurve(magnitudes, juce::Colours::red, juce::Colours::white, 48000.0F, 0)
            .points.empty());
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
