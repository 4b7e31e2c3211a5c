#include "standalone/HumBar.h"

#include "dsp/hum/HumParameters.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <cmath>
#include <numbers>
#include <optional>

namespace kalim::test
{
namespace
{

using namespace orvo::audio;

constexpr int rate = 16000;

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
        sum += 0.1 / harmonic * std::sin(2.0 * std::numbers::pi * 50.02 * harmonic * frame / rate);
    return static_cast<float>(sum);
}

class HumOfAFile : public SoundFiles
{
protected:
    void open(const Function& samples)
    {
        player.open(writeSound("in.wav", wavFloat, rate, 10 * rate, {samples, samples}));
        bar->fileOpened();
    }

    float get(int id) { return plugIn.getBaseProcessor()->getParameterValue(id); }

    juce::String waitForText()
    {
        EXPECT_TRUE(waitUntil([this] { return bar->refresh(), !bar->isBusy(); }));
        return bar->getText();
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
    EXPECT_FALSE(plugIn.canUndo());
}

} // namespace kalim::test
