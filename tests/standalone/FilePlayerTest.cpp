#include "standalone/FilePlayer.h"

#include "tests/standalone/SoundFiles.h"

#include <cmath>

namespace kalim::test
{
namespace
{

constexpr int rate = 48000;

class FilePlaying : public SoundFiles
{
protected:
    FilePlaying() { player.setOutputRate(rate); }

    /// Renders as an audio thread would, but waits for the file; nothing when none is playing.
    Samples render(int numFrames)
    {
        const auto isReady = [&]
        {
            if (player.getNumReady() < numFrames)
                player.render(nullptr, nullptr, 0); // drops what was read before a seek
            return player.getNumReady() >= numFrames;
        };
        EXPECT_TRUE(waitUntil(isReady));
        Samples left(static_cast<std::size_t>(numFrames), 9.0F);
        Samples right = left;
        if (!player.render(left.data(), right.data(), numFrames))
            return {};
        for (std::size_t frame = 0; frame < left.size(); ++frame)
            EXPECT_EQ(right[frame], -left[frame]) << frame;
        return left;
    }

    void expectFrames(int numFrames, int first)
    {
        const Samples rendered = render(numFrames);
        ASSERT_EQ(rendered.size(), static_cast<std::size_t>(numFrames));
        for (int frame = 0; frame < numFrames; ++frame)
            ASSERT_EQ(rendered[static_cast<std::size_t>(frame)], number(first + frame)) << frame;
    }

    standalone::FilePlayer player;
};

} // namespace

TEST_F(FilePlaying, playsEverySampleAndStopsAtTheEndOrForAnotherFile)
{
    player.play();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_FALSE(player.render(nullptr, nullptr, 10));
    player.open(writeNumbered(rate, 5000));
    EXPECT_DOUBLE_EQ(player.getLength(), 5000 / 48000.0);
    EXPECT_EQ(render(100), Samples());
    player.play();
    for (int done = 0; done < 4900; done += 700)
        expectFrames(700, done);
    EXPECT_DOUBLE_EQ(player.getPosition(), 4900 / 48000.0);

    const Samples last = render(700);
    EXPECT_EQ(last.at(99), number(4999));
    EXPECT_EQ(Samples(last.begin() + 100, last.end()), Samples(600, 0.0F));
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(render(100), Samples());
    EXPECT_DOUBLE_EQ(player.getPosition(), 0.0);
    player.play();
    expectFrames(200, 0);
    EXPECT_THROW(player.open(writeNoSound()), FileError);
    expectFrames(200, 200);
    player.open(fileCalled("numbered.wav"));
    EXPECT_EQ(render(100), Samples());
}

TEST_F(FilePlaying, goesOnAtTheStartForAsLongAsItLoops)
{
    player.open(writeNumbered(rate, 1500));
    player.setLooping(true);
    player.play();
    for (int round = 0; round < 3; ++round)
        expectFrames(1500, 0);
    // Long after the start was read again.
    player.setLooping(false);
    EXPECT_EQ(render(100), Samples(100, 0.0F));
    EXPECT_FALSE(player.isPlaying());
}

TEST_F(FilePlaying, playsFromWhereItIsSentAndFadesOutAndGoesOnWhereItStopped)
{
    player.open(writeNumbered(rate, 30000));
    player.play();
    for (const int frame : {20000, 1000})
    {
        player.seek(frame / 48000.0);
        EXPECT_DOUBLE_EQ(player.getPosition(), frame / 48000.0);
        expectFrames(500, frame);
    }
    for (const auto& [seconds, frame] : {std::pair(-1.0, 0), {std::nan(""), 0}, {1e300, 29999}})
    {
        player.seek(seconds);
        EXPECT_DOUBLE_EQ(player.getPosition(), frame / 48000.0);
    }
    player.seek(0.5);
    expectFrames(500, 24000);
    player.stop();
    const Samples fade = render(500);
    EXPECT_NEAR(fade.at(0), number(24500), 0.01F);
    EXPECT_NEAR(fade.at(127), number(24627) / 2.0F, 1e-4F);
    EXPECT_EQ(Samples(fade.begin() + 255, fade.end()), Samples(245, 0.0F));
    EXPECT_EQ(render(500), Samples());
    player.play();
    expectFrames(500, 24500);
}

TEST_F(FilePlaying, staysWhereItIsWhenTheRateChanges)
{
    player.open(writeNumbered(rate, 30000));
    player.play();
    expectFrames(12000, 0);
    player.setOutputRate(96000);
    EXPECT_DOUBLE_EQ(player.getPosition(), 0.25);
    const Samples twiceAsDense = render(4000);
    // A ramp between its ends is the same ramp at any rate.
    for (const std::size_t frame : {0, 2, 2000, 3998})
        EXPECT_NEAR(twiceAsDense.at(frame), number(12000 + static_cast<int>(frame) / 2), 1e-4F);
    EXPECT_NEAR(player.getPosition(), 0.25 + 4000 / 96000.0, 1e-9);
}

} // namespace kalim::test
