#include "standalone/HumBar.h"

#include "dsp/hum/HumParameters.h"
#include "plugin/KalimAudioProcessor.h"
#include "standalone/AudioSettingsWindow.h"
#include "standalone/ErrorText.h"
#include "standalone/TransportBar.h"
#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"
#include "tests/support/framework/Accessibility.h"
#include "tests/support/framework/MarkedLanguage.h"

#include <cmath>
#include <numbers>
#include <optional>

namespace kalim::test
{
namespace
{

using namespace orvo::audio;
using enum standalone::CleaningMethod;

constexpr int fileRate = 16000;

/// A phase that grows with the square is as good as noise.
float makeNoise(int frame)
{
    return static_cast<float>(0.02 * std::sin(0.7 * frame * frame));
}

/// The harmonics 1, 3, 5, 7 and 9 of 50.02 Hz above it.
float makeSound(int frame)
{
    double sum = makeNoise(frame);
    for (int harmonic = 1; harmonic < 10; harmonic += 2)
        sum +=
            0.1 / harmonic * std::sin(2.0 * std::numbers::pi * 50.02 * harmonic * frame / fileRate);
    return static_cast<float>(sum);
}

class HumOfAFile : public SoundFiles
{
protected:
    void open(const Function& samples)
    {
        player.open(writeSound("in.wav", wavFloat, fileRate, 10 * fileRate, {samples, samples}));
        bar->fileOpened();
    }

    float get(int id) { return plugIn.getBaseProcessor()->getParameterValue(id); }

    juce::String waitForText()
    {
        EXPECT_TRUE(waitUntil([this] { return bar->refresh(), !bar->isBusy(); }));
        return bar->getText();
    }

    /// Power in dB of what the last half of a saved file holds beside noise.
    double saveAndCompare(standalone::CleaningMethod method)
    {
        bar->save(player.getFile(), fileCalled("out.wav"), method);
        EXPECT_EQ(waitForText(), "Saved: out.wav");
        const Samples samples = readAll(path("out.wav"));
        EXPECT_EQ(samples.size(), 20U * fileRate);
        double sum = 0.0;
        for (std::size_t i = samples.size() / 2; i < samples.size(); ++i)
            sum += std::pow(samples[i] - makeNoise(static_cast<int>(i / 2)), 2.0);
        return 10.0 * std::log10(2.0 * sum / static_cast<double>(samples.size()));
    }

    KalimAudioProcessor plugIn;
    standalone::FilePlayer player;
    std::optional<standalone::HumBar> bar{std::in_place, player, plugIn};
};

} // namespace

TEST_F(HumOfAFile, becomesTheWindowsSettingsInOneStep)
{
    open(makeSound);
    bar->lookForHum();
    EXPECT_EQ(waitForText(), "Hum at 50.02 Hz, 5 odd harmonics, steady");
    EXPECT_NEAR(get(FundamentalFrequency), 50.02F, 0.005F);
    EXPECT_EQ(get(NumberOfHarmonics), 5.0F);
    EXPECT_EQ(get(OnlyOddHarmonics), 1.0F);
    plugIn.undo();
    EXPECT_EQ(get(NumberOfHarmonics), 1.0F);
    EXPECT_FALSE(plugIn.canUndo());
}

TEST_F(HumOfAFile, leavesEverythingWhenThereIsNoneOrItIsCancelled)
{
    open(makeNoise);
    bar->lookForHum();
    EXPECT_EQ(waitForText(), "No hum was found");
    const std::function<void()> ends[] = {[&] { bar->cancel(); }, [&] { open(makeSound); },
                                          [&] { bar.emplace(player, plugIn); }};
    for (const auto& end : ends)
    {
        bar->lookForHum();
        end();
        EXPECT_EQ(waitForText(), "");
    }
    bar->save(player.getFile(), fileCalled("out.wav"), precise);
    bar->cancel();
    EXPECT_EQ(waitForText(), "");
    EXPECT_EQ(juceFolder().getNumberOfChildFiles(juce::File::findFiles), 1);
    EXPECT_FALSE(plugIn.canUndo());
}

TEST_F(HumOfAFile, isTakenOffTheSavedFile)
{
    open(makeSound);
    plugIn.getBaseProcessor()->setParameterValue(NumberOfHarmonics, 10.0F, false);
    // The hum has -22 dB. The precise way knows the whole file.
    EXPECT_LT(saveAndCompare(precise), -70.0);
    EXPECT_LT(saveAndCompare(asHeard), -50.0);
    bar->save(player.getFile(), player.getFile(), precise);
    EXPECT_TRUE(waitForText().contains("choose another name"));
}

TEST(WordsOfTheStandalone, areThoseOfErrorsToo)
{
    EXPECT_EQ(standalone::translateError("/a/b: c.wav: ends early: 3 of 8 frames; --salvage does"),
              "/a/b: c.wav: ends early: 3 of 8 frames");
    EXPECT_EQ(standalone::translateError("something else"), "something else");
    const MarkedLanguage language;
    const juce::String text = standalone::translateError(
        "/x #1.wav: cannot create a file in /x #2: No space left on device");
    EXPECT_TRUE(text.startsWith("/x #1.wav: ")) << text;
    EXPECT_TRUE(text.contains("/x #2: No space left on device")) << text;
    EXPECT_TRUE(text.containsChar(0xab)) << text;
}

TEST(WordsOfTheStandalone, areAllTranslated)
{
    if (testing_support::isForThreadsOnly)
        GTEST_SKIP();
    const MarkedLanguage language;
    ProbeProcessor probe;
    standalone::AudioEngine engine(probe);
    KalimAudioProcessor plugIn;
    standalone::HumBar hums(engine.getPlayer(), plugIn);
    standalone::TransportBar transport(engine.getPlayer());
    standalone::AudioSettingsWindow settings(engine, [] {});
    for (juce::Component* const part :
         std::initializer_list<juce::Component*>{&hums, &transport, &settings})
    {
        const auto unmarked = MarkedLanguage::findUnmarked(*part, {"JACK", "ALSA", "Hz"});
        EXPECT_TRUE(unmarked.isEmpty()) << unmarked.joinIntoString("\n");
    }
}

TEST_F(HumOfAFile, isToldOfWithNameRoleValueAndDescriptionOfEveryControl)
{
    open(makeSound);
    standalone::TransportBar transport(player);
    std::vector<juce::Component*> controls;
    collectControls(*bar, controls);
    collectControls(transport, controls);
    EXPECT_EQ(controls.size(), 5U);
    for (juce::Component* const control : controls)
        expectTold(*control);
}

} // namespace kalim::test
