#include "standalone/SoundFileReader.h"

#include "standalone/ResamplingReader.h"
#include "tests/standalone/SoundFiles.h"
#include "base/FileError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

namespace
{

using Samples = std::vector<float>;

struct Stereo
{
    Samples left;
    Samples right;
};

Stereo read(SoundFileReader& reader, std::int64_t position, int numFrames)
{
    const auto size = static_cast<std::size_t>(numFrames);
    Stereo result{Samples(size, 9.0F), Samples(size, 9.0F)};
    reader.read(position, result.left.data(), result.right.data(), numFrames);
    return result;
}

/// The sine of that frequency, in frames per period.
float sine(double place, double period)
{
    return static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * place / period));
}

constexpr int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

} // namespace

using SoundFileReading = SoundFiles;

TEST_F(SoundFileReading, givesMonoOnBothChannelsAndTheFirstTwoOfMore)
{
    SoundFileReader mono(writeSound("mono.wav", floatWav, 48000, 10, {number}));
    const Stereo both = read(mono, 3, 2);
    EXPECT_EQ(both.left, (Samples{number(3), number(4)}));
    EXPECT_EQ(both.right, both.left);

    const auto half = [](int) { return 0.5F; };
    SoundFileReader more(
        writeSound("more.wav", floatWav, 48000, 10, {number, half, number, number, number}));
    const Stereo front = read(more, 8, 2);
    EXPECT_EQ(front.left, (Samples{number(8), number(9)}));
    EXPECT_EQ(front.right, (Samples{0.5F, 0.5F}));
}

TEST_F(SoundFileReading, isSilentOutsideOfTheFileAndWhereSamplesAreNoNumbers)
{
    const auto partlyNumber = [](int frame)
    { return frame == 1 ? std::numeric_limits<float>::quiet_NaN() : number(frame); };
    SoundFileReader reader(writeSound("short.wav", floatWav, 48000, 3, {partlyNumber}));
    EXPECT_EQ(read(reader, -2, 7).left,
              (Samples{0.0F, 0.0F, number(0), 0.0F, number(2), 0.0F, 0.0F}));
    EXPECT_EQ(read(reader, -9, 2).left, (Samples{0.0F, 0.0F}));
    EXPECT_EQ(read(reader, 9, 2).left, (Samples{0.0F, 0.0F}));
}

TEST_F(SoundFileReading, windsCodecsThatCannotBeWound)
{
    constexpr int numFrames = 4800;
    const juce::File file = writeSound("telephone.au", SF_FORMAT_AU | SF_FORMAT_G721_32, 8000,
                                       numFrames, {[](int frame) { return sine(frame, 40.0); }});
    SoundFileReader once(file);
    const Samples all = read(once, 0, numFrames).left;
    ASSERT_GT(*std::max_element(all.begin(), all.end()), 0.3F);
    SoundFileReader reader(file);
    for (const int start : {3000, 1000, 1100, 0})
    {
        const auto from = all.begin() + start;
        EXPECT_EQ(read(reader, start, 100).left, Samples(from, from + 100)) << start;
    }
}

TEST_F(SoundFileReading, isSilentAfterDamage)
{
    constexpr int numFrames = 48000;
    const juce::File file = writeSound("damaged.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000,
                                       numFrames, {[](int frame) { return sine(frame, 37.3); }});
    juce::MemoryBlock bytes;
    ASSERT_TRUE(file.loadFileAsData(bytes));
    ASSERT_TRUE(file.replaceWithData(bytes.getData(), bytes.getSize() / 2));
    SoundFileReader reader(file);
    EXPECT_NEAR(read(reader, 100, 1).left[0], sine(100, 37.3), 1e-4);
    EXPECT_EQ(read(reader, numFrames - 1000, 1000).left, Samples(1000, 0.0F));
    EXPECT_NEAR(read(reader, 100, 1).left[0], sine(100, 37.3), 1e-4);
}

TEST_F(SoundFileReading, refusesWhatCannotBePlayed)
{
    using kalim::FileError;
    EXPECT_THROW(SoundFileReader(write("text.wav", "no sound")), FileError);
    EXPECT_THROW(SoundFileReader(folder.getChildFile("missing.wav")), FileError);
    EXPECT_THROW(SoundFileReader{folder}, FileError);
    EXPECT_THROW(SoundFileReader(writeSound("empty.wav", floatWav, 48000, 0, {number})), FileError);
    EXPECT_THROW(SoundFileReader(writeSound("slow.wav", floatWav, 1, 10, {number})), FileError);
}

TEST_F(SoundFileReading, keepsTonesAtAnotherRateAndLeavesOutThoseItCannotHold)
{
    // 1 kHz, and 30 kHz, which would come out as 18 kHz.
    for (const auto& [fileRate, period, share] :
         {std::tuple{44100, 44.1, 1.0F}, std::tuple{96000, 3.2, 0.0F}})
    {
        SoundFileReader reader(
            writeSound("tone.wav", floatWav, fileRate, fileRate / 10,
                       {[period = period](int frame) { return sine(frame, period); }}));
        ResamplingReader resampled(reader, 48000.0);
        Samples left(4800);
        Samples right(4800);
        // In parts, most of which begin between two frames of the file.
        for (int done = 0; done < 4800; done += 300)
            resampled.read(done * resampled.getStep(), left.data() + done, right.data() + done,
                           300);
        // The first and last frames lack neighbours; the bound is 80 dB below the tone.
        for (int frame = 100; frame < 4700; ++frame)
            ASSERT_NEAR(left[static_cast<std::size_t>(frame)], share * sine(frame, 48.0),
                        0.5F * 1e-4F)
                << fileRate << ", " << frame;
        EXPECT_EQ(left, right);
    }
}
