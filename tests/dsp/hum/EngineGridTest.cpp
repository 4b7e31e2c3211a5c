#include "dsp/hum/Kalimmer.h"
#include "tests/support/EngineRun.h"
#include "tests/support/PlainEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace testing_support;
using orvo::audio::HarmonicSelection;
using orvo::audio::Kalimmer;

namespace
{

struct GridPoint
{
    double sampleRate;
    int numChannels;
    int blockSize;
    EngineSettings settings;
};

/// What the engine put out, and which fundamental each frame was cleaned with.
struct Played
{
    Signal32 output;
    std::vector<float> fundamentals;
    std::vector<int> frameLengths;
};

void append(Signal32& all, int& position, const Signal32& part)
{
    for (int channel = 0; channel < part.getNumChannels(); ++channel)
        std::copy_n(part.getReadChannelPtr(channel), part.getNumSamples(),
                    all.getWriteChannelPtr(channel) + position);
    position += part.getNumSamples();
}

Played play(const GridPoint& point, const Signal32& input)
{
    Kalimmer engine;
    const auto format = makeFormat(point.numChannels, point.sampleRate);
    engine.setFormat(format, format);
    apply(point.settings, engine);
    engine.reset();
    Played played{Signal32(point.numChannels, input.getNumSamples(), 0.0F), {}, {}};
    int position = 0;
    for (int start = 0; start + point.blockSize <= input.getNumSamples(); start += point.blockSize)
    {
        const Signal32 output = engine.process(cut(input, start, point.blockSize), false);
        if (output.getNumSamples() == 0)
            continue;
        played.fundamentals.push_back(engine.getCurrentFundamental());
        played.frameLengths.push_back(output.getNumSamples());
        append(played.output, position, output);
    }
    played.output = cut(played.output, 0, position);
    return played;
}

/// The same frames with the same fundamentals, harmonic after harmonic.
Signal32 cleanPlainly(const GridPoint& point, const Signal32& input, const Played& played)
{
    PlainBank bank(point.numChannels, point.sampleRate);
    PlainCascade cascade(point.sampleRate);
    const HarmonicSelection selection(point.settings.harmonics, point.settings.onlyOdd);
    Signal32 all(point.numChannels, played.output.getNumSamples());
    int position = 0;
    for (std::size_t i = 0; i < played.frameLengths.size(); ++i)
    {
        const Signal32 frame = cut(input, position, played.frameLengths[i]);
        const Signal32 cleaned = point.settings.aggressive
                                     ? cascade.clean(frame, played.fundamentals[i], selection)
                                     : bank.clean(frame, played.fundamentals[i], selection);
        append(all, position, point.settings.residual ? difference(frame, cleaned) : cleaned);
    }
    return all;
}

} // namespace

TEST(Engine, givesWhatTheReadableOperationsGiveInEveryModeRateAndBlockSize)
{
    for (const GridPoint& point : std::vector<GridPoint>{
             {44100.0, 1, 64, {.harmonics = 20}},
             {44100.0, 2, 441, {.harmonics = 96, .residual = true}},
             {48000.0, 3, 1024, {.harmonics = 20, .onlyOdd = true}},
             {48000.0, 2, 512, {.fundamental = 60.0F, .adaptivity = 0.0F, .harmonics = 96}},
             {96000.0, 1, 2048, {.adaptivity = 80.0F, .harmonics = 40}},
             {192000.0, 2, 100, {.harmonics = 1}},
             {44100.0, 2, 64, {.harmonics = 20, .aggressive = true}},
             {48000.0, 1, 441, {.harmonics = 96, .onlyOdd = true, .aggressive = true}},
             {48000.0, 3, 1, {.harmonics = 5, .aggressive = true, .residual = true}},
             {96000.0, 2, 2048, {.harmonics = 96, .aggressive = true}},
             {8000.0, 2, 64, {.harmonics = 96, .aggressive = true}}})
    {
        constexpr double seconds = 0.6;
        const Signal32 input = mix(makeHum({.startFrequency = 50.0, .endFrequency = 50.3},
                                           point.sampleRate, seconds, point.numChannels),
                                   makeNoise(-40.0, point.sampleRate, seconds, point.numChannels));
        const Played played = play(point, input);
        ASSERT_GT(played.frameLengths.size(), 3U);
        const Signal32 expected = cleanPlainly(point, input, played);
        // In single precision a sample may be rounded to its other neighbour, once for the sum of
        // trackers and once in every stage of a cascade.
        const float tolerance = point.settings.aggressive ? 6.0e-7F : 1.2e-7F;
        EXPECT_LT(peakOf(difference(played.output, expected)), tolerance)
            << point.sampleRate << " Hz, " << point.numChannels << " channels, blocks of "
            << point.blockSize << ", " << point.settings.harmonics << " harmonics, aggressive "
            << point.settings.aggressive;
        EXPECT_GT(peakOf(difference(played.output, cut(input, 0, expected.getNumSamples()))),
                  0.001F);
    }
}
