#include "dsp/precise/Decimator.h"
#include "dsp/precise/LineReader.h"
#include "tests/dsp/precise/Recordings.h"
#include "tests/support/InstructionSets.h"

using namespace orvo::audio::precise;
using namespace testing_support;

namespace
{

/// A frame's transform at a frequency, summed directly, in the units of the reader.
Complex transform(const orvo::audio::precise::Series<float>& samples, int centre, double length,
                  double frequency)
{
    Complex sum;
    double weights = 0.0;
    const auto half = static_cast<int>(0.5 * length);
    for (int i = -half; i <= half; ++i)
    {
        const double weight = 0.5 + 0.5 * std::cos(fullTurn * i / length);
        weights += weight;
        sum += weight * samples[centre + i] * std::polar(1.0, -fullTurn * frequency * (centre + i));
    }
    return 2.0 / weights * sum;
}

/// Level in dB of a tone after decimation by 6; `share` of half the new rate.
double decimateTone(double share)
{
    orvo::audio::precise::Series<float> tone;
    for (int i = 0; i < 6000; ++i)
        tone.push_back(static_cast<float>(std::sin(0.5 * fullTurn * share * i / 6.0 + 0.3)));
    const orvo::audio::precise::Series<float> result = Decimator(6).process(tone.data(), 6000);
    return 20.0 * std::log10(*std::max_element(result.begin() + 30, result.end() - 30));
}

} // namespace

TEST(LineReader, readsWhatADirectSumGivesAndThePowerOfNoise)
{
    constexpr double f = 50.37 / 8000.0; // between bins
    Dice dice;
    orvo::audio::precise::Series<float> samples;
    for (int i = 0; i < 80000; ++i)
        samples.push_back(
            static_cast<float>(0.5 * std::cos(fullTurn * f * i + 1.0) + 0.01 * makeNormal(dice)));
    const FrameGrid grid(50.37, 8000.0, 80000);
    const double length = grid.getFrameLength() * 8000.0;
    const ChannelView view{{samples.data()}, 80000, 8000.0};
    LineReader reader(view, grid, 50.37, 60);
    const HarmonicLines lines = reader.read(PhaseTrack(50.37), 60);
    // What is kept serves other tracks too, and gives what is read anew.
    reader.read(PhaseTrack(50.9), 60);
    const HarmonicLines again = reader.read(PhaseTrack(50.37), 60);
    EXPECT_EQ(again.amplitudes, lines.amplitudes);
    EXPECT_EQ(LineReader(view, grid, 50.37).read(PhaseTrack(50.37), 60).noise, lines.noise);
    double power = 0.0;
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int line = 0; line < 60; ++line)
        {
            const auto centre = static_cast<int>(std::lround(lines.getTime(frame) * 8000.0));
            const Complex value = lines.amplitudes[lines.at(frame, line)];
            // Single precision and an interpolation that is right to 100 dB under the 0.5.
            EXPECT_LT(std::abs(value - transform(samples, centre, length, f * (line + 1))), 5e-6);
            // Four sigma of what 4 sum(w^2) / sum(w)^2 of the noise makes of it, and a half.
            EXPECT_LT(std::abs(value - (line == 0 ? std::polar(0.5, 1.0) : 0.0)), 0.0044);
            power += lines.noise[lines.at(frame, line)] / (60.0 * lines.numFrames);
        }
    // The mean of 15000 powers, which overlap, is right to 1 % or so.
    EXPECT_NEAR(power * length, 6.0 * 1e-4, 2e-5);
}

TEST(LineReader, readsManyChannelsAsItReadsEachAlone)
{
    Dice dice;
    Channels sound = makeSilence(11, 1000.0, 2.0); // no multiple of any group
    addNoise(sound, 1000.0, 0.0, 2.0, 0.1, dice);
    addTone(sound, 1000.0, {.fundamental = 50.3}, dice);
    ChannelView all{{}, 2000, 1000.0};
    for (const auto& channel : sound)
        all.channels.push_back(channel.data());
    const FrameGrid grid(50.0, 1000.0, 2000);
    // The tenth harmonic comes to lie beyond half the rate.
    const auto track = PhaseTrack::fromFrequencies(0.0, 1.0, {50.0, 50.5, 50.2});
    const auto readAll = [&](const ChannelView& view)
    { return LineReader(view, grid, 50.0).read(track, 10); };
    forEachInstructionSet(
        [&]
        {
            const HarmonicLines lines = readAll(all);
            for (int channel = 0; channel < 11; ++channel)
            {
                const HarmonicLines alone = readAll({{all.channels[channel]}, 2000, 1000.0});
                for (int frame = 0; frame < lines.numFrames; ++frame)
                    for (int h = 0; h < 10; ++h)
                    {
                        const std::size_t at = lines.at(frame, 10 * channel + h);
                        const std::size_t other = alone.at(frame, h);
                        // To the 100 dB of the interpolation.
                        EXPECT_LT(std::abs(lines.amplitudes[at] - alone.amplitudes[other]), 3e-6);
                        EXPECT_NEAR(std::sqrt(lines.noise[at]), std::sqrt(alone.noise[other]),
                                    3e-6);
                    }
            }
        });
}

TEST(CombDetector, findsTheFundamental)
{
    for (const double fundamental : {49.973, 60.041, 58.9})
    {
        Dice dice;
        Channels sound = makeSilence(1, 2000.0, 10.0);
        addNoise(sound, 2000.0, 0.0, 10.0, 0.1, dice);
        sound = addHum(sound, 2000.0, {.fundamental = fundamental}, 1.0, dice);
        CombDetector detector(2000.0, {{48.75, 51.25}, {58.5, 61.5}});
        for (int start = 0; start + detector.getWindowLength() <= 20000; start += detector.getHop())
            detector.addWindow(sound[0].data() + start, 20000 - start);
        EXPECT_NEAR(detector.getPeaks().front().fundamental, fundamental, 0.02);
        CombDetector coarse(2000.0, {{48.75, 51.25}, {58.5, 61.5}}, true);
        coarse.addWindow(makeSilence(1, 2000.0, 3.0)[0].data(), 6000);
        coarse.forget();
        coarse.addWindow(sound[0].data(), 20000);
        EXPECT_EQ(coarse.getNumWindows(), 1);
        EXPECT_NEAR(coarse.getPeaks().front().fundamental, fundamental, 0.1);
    }
}

TEST(Decimator, isFlatAndFoldsNothingBack)
{
    for (const double share : {0.02, 0.31, 0.53, 0.74})
        EXPECT_NEAR(decimateTone(share), 0.0, 0.05) << share;
    for (const double share : {1.165, 1.3, 1.77, 2.4, 3.9, 5.7})
        EXPECT_LT(decimateTone(share), -80.0) << share;
}
