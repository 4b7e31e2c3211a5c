#include "standalone/SoundFileReader.h"

#include "standalone/ResamplingReader.h"
#include "tests/standalone/SoundFiles.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

namespace kalim::test
{
namespace
{

using standalone::SoundFileReader;

/// The sine of that frequency, in frames per period.
float sine(double place, double period)
{
    return static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * place / period));
}

using SoundFileReading = SoundFiles;

void expectRead(SoundFileReader& reader, std::int64_t position, const Samples& expectedLeft,
                const Samples& expectedRight)
{
    Samples left(expectedLeft.size(), 9.0F);
    Samples right = left;
    reader.read(position, left.data(), right.data(), static_cast<int>(left.size()));
    EXPECT_EQ(left, expectedLeft);
    EXPECT_EQ(right, expectedRight);
}

} // namespace

TEST_F(SoundFileReading, givesMonoTwiceOrTwoChannelsAndSilenceOutsideTheFileAndForNaN)
{
    SoundFileReader mono(writeSound("mono.wav", wavFloat, 48000, 10, {number}));
    expectRead(mono, 3, {number(3), number(4)}, {number(3), number(4)});
    const auto half = [](int) { return 0.5F; };
    SoundFileReader more(
        writeSound("more.wav", wavFloat, 48000, 10, {number, half, number, number, number}));
    expectRead(more, 8, {number(8), number(9)}, {0.5F, 0.5F});

    const auto partlyNumber = [](int frame)
    { return frame == 1 ? std::numeric_limits<float>::quiet_NaN() : number(frame); };
    SoundFileReader reader(writeSound("short.wav", wavFloat, 48000, 3, {partlyNumber}));
    const Samples all{0.0F, 0.0F, number(0), 0.0F, number(2), 0.0F, 0.0F};
    expectRead(reader, -2, all, all);
    for (const int outside : {-9, 9})
        expectRead(reader, outside, {0.0F, 0.0F}, {0.0F, 0.0F});
}

TEST_F(SoundFileReading, isSilentAfterDamage)
{
    constexpr int numFrames = 48000;
    writeSound("whole.flac", flac16, 48000, numFrames,
               {[](int frame) { return sine(frame, 37.3); }});
    const Samples whole = readAll(path("whole.flac"));
    const auto bytes = contentsOf(path("whole.flac"));
    writeText("damaged.flac", bytes.substr(0, bytes.size() / 2));
    SoundFileReader reader(fileCalled("damaged.flac"));
    const Samples silence(1000, 0.0F);
    for (const int start : {100, 20000, 100})
    {
        const Samples expected(whole.begin() + start, whole.begin() + start + 100);
        expectRead(reader, start, expected, expected);
        expectRead(reader, numFrames - 1000, silence, silence);
    }
}

TEST_F(SoundFileReading, refusesWhatCannotBePlayed)
{
    for (const juce::File& file : {writeNoSound(), fileCalled("missing.wav"), juceFolder(),
                                   writeSound("empty.wav", wavFloat, 48000, 0, {number}),
                                   writeSound("slow.wav", wavFloat, 1, 10, {number})})
        EXPECT_THROW(const SoundFileReader reader(file), FileError) << file.getFileName();
}

TEST_F(SoundFileReading, keepsTonesAtAnotherRateAndLeavesOutThoseItCannotHold)
{
    // 1 kHz, and 30 kHz, which would come out as 18 kHz.
    for (const auto& [fileRate, period, share] :
         {std::tuple{44100, 44.1, 1.0F}, std::tuple{96000, 3.2, 0.0F}})
    {
        SoundFileReader reader(
            writeSound("tone.wav", wavFloat, fileRate, fileRate / 10,
                       {[period = period](int frame) { return sine(frame, period); }}));
        standalone::ResamplingReader resampled(reader, 48000.0);
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

} // namespace kalim::test
