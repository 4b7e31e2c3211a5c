#include "standalone/FilePlayer.h"

#include "tests/standalone/SoundFiles.h"
#include "base/FileError.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Samples = std::vector<float>;

constexpr int rate = 48000;

struct Rendered
{
    bool isPlayed = false;
    Samples left;
    Samples right;
};

} // namespace

class FilePlaying : public SoundFiles
{
protected:
    FilePlaying() { player.setOutputRate(rate); }

    /// As an audio thread would, but waiting for the file.
    Rendered render(int numFrames)
    {
        const auto isReady = [&]
        {
            if (player.getNumReady() < numFrames)
                player.render(nullptr, nullptr, 0); // drops what was read before a seek
            return player.getNumReady() >= numFrames;
        };
        EXPECT_TRUE(waitUntil(isReady));
        const auto size = static_cast<std::size_t>(numFrames);
        Rendered result{false, Samples(size, 9.0F), Samples(size, 9.0F)};
        result.isPlayed = player.render(result.left.data(), result.right.data(), numFrames);
        return result;
    }

    void expectFrames(const Rendered& rendered, int firstFrame) const
    {
        ASSERT_TRUE(rendered.isPlayed);
        for (std::size_t index = 0; index < rendered.left.size(); ++index)
        {
            ASSERT_EQ(rendered.left[index], number(firstFrame + static_cast<int>(index))) << index;
            ASSERT_EQ(rendered.right[index], -rendered.left[index]) << index;
        }
    }

    FilePlayer player;
};

TEST_F(FilePlaying, playsEverySampleAndStopsAtTheEnd)
{
    constexpr int numFrames = 5000;
    player.open(writeNumbered(rate, numFrames));
    EXPECT_DOUBLE_EQ(player.getLength(), numFrames / 48000.0);
    EXPECT_FALSE(render(100).isPlayed);
    player.play();
    for (int done = 0; done < 4900; done += 700)
        expectFrames(render(700), done);
    EXPECT_DOUBLE_EQ(player.getPosition(), 4900 / 48000.0);

    const Rendered last = render(700);
    EXPECT_EQ(last.left[99], number(4999));
    EXPECT_EQ(last.left[100], 0.0F);
    EXPECT_EQ(last.right[699], 0.0F);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_FALSE(render(100).isPlayed);
    EXPECT_DOUBLE_EQ(player.getPosition(), 0.0);
    player.play();
    expectFrames(render(200), 0);
}

TEST_F(FilePlaying, goesOnAtTheStartForAsLongAsItLoops)
{
    player.open(writeNumbered(rate, 1500));
    player.setLooping(true);
    player.play();
    for (int round = 0; round < 3; ++round)
        expectFrames(render(1500), 0);
    // Long after the start was read again.
    player.setLooping(false);
    EXPECT_EQ(render(100).left, Samples(100, 0.0F));
    EXPECT_FALSE(player.isPlaying());
}

TEST_F(FilePlaying, playsFromWhereItIsSent)
{
    player.open(writeNumbered(rate, 30000));
    player.seek(20000 / 48000.0);
    EXPECT_DOUBLE_EQ(player.getPosition(), 20000 / 48000.0);
    player.play();
    expectFrames(render(500), 20000);
    player.seek(1000 / 48000.0);
    EXPECT_DOUBLE_EQ(player.getPosition(), 1000 / 48000.0);
    expectFrames(render(500), 1000);
    for (const double nowhere : {-1.0, std::nan("")})
    {
        player.seek(nowhere);
        EXPECT_DOUBLE_EQ(player.getPosition(), 0.0);
    }
    player.seek(1e300);
    EXPECT_DOUBLE_EQ(player.getPosition(), 29999 / 48000.0);
}

TEST_F(FilePlaying, fadesOutAndGoesOnWhereItStopped)
{
    player.open(writeNumbered(rate, 30000));
    player.seek(0.5);
    player.play();
    expectFrames(render(500), 24000);
    player.stop();
    const Rendered fade = render(500);
    EXPECT_TRUE(fade.isPlayed);
    EXPECT_NEAR(fade.left[0], number(24500), 0.01F);
    EXPECT_NEAR(fade.left[127], number(24627) / 2.0F, 1e-4F);
    EXPECT_EQ(fade.left[255], 0.0F);
    EXPECT_EQ(fade.left[499], 0.0F);
    EXPECT_FALSE(render(500).isPlayed);
    player.play();
    expectFrames(render(500), 24500);
}

TEST_F(FilePlaying, staysWhereItIsWhenTheRateChanges)
{
    player.open(writeNumbered(rate, 30000));
    player.play();
    expectFrames(render(12000), 0);
    player.setOutputRate(96000);
    EXPECT_DOUBLE_EQ(player.getPosition(), 0.25);
    const Rendered twiceAsDense = render(4000);
    // A ramp between its ends is the same ramp at any rate.
    for (const int frame : {0, 1, 2000, 3999})
        EXPECT_NEAR(twiceAsDense.left[static_cast<std::size_t>(frame)],
                    number(12000) + static_cast<float>(frame) / 2.0F / 65536.0F, 1e-4F);
    EXPECT_NEAR(player.getPosition(), 0.25 + 4000 / 96000.0, 1e-9);
}

TEST_F(FilePlaying, replacesTheFileUnlessTheNewOneIsRefused)
{
    const juce::File sound = writeNumbered(rate, 3000);
    player.open(sound);
    player.play();
    expectFrames(render(100), 0);
    EXPECT_THROW(player.open(write("text.wav", "no sound")), kalim::FileError);
    EXPECT_EQ(player.getFile(), sound);
    expectFrames(render(100), 100);
    player.open(sound);
    EXPECT_FALSE(render(100).isPlayed);
    player.play();
    expectFrames(render(100), 0);
}

TEST_F(FilePlaying, doesNothingWithoutAFile)
{
    player.play();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_FALSE(player.render(nullptr, nullptr, 10));
}
