#include "tests/support/EngineRun.h"
#include "tests/support/PlainEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace testing_support;
using orvo::audio::HarmonicSelection;

namespace
{

struct GridPoint
{
    double sampleRate;
    int numChannels;
    int blockSize;
    EngineSettings settings;
};

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
        PreparedEngine engine(point.settings, point.numChannels, point.sampleRate);
        PlainBank bank(point.numChannels, point.sampleRate);
        PlainCascade cascade(point.sampleRate);
        const HarmonicSelection selection(point.settings.harmonics, point.settings.onlyOdd);
        // In single precision a sample may be rounded to its other neighbour, once for the sum of
        // trackers and once in every stage of a cascade.
        const float tolerance = point.settings.aggressive ? 6.0e-7F : 1.2e-7F;
        float largestChange = 0.0F;
        int numFrames = 0;
        int cleanedLength = 0;
        for (int position = 0; position + point.blockSize <= input.getNumSamples();
             position += point.blockSize)
        {
            const Signal32 output = engine.process(cut(input, position, point.blockSize), false);
            if (output.getNumSamples() == 0)
                continue;
            ++numFrames;
            const Signal32 frame = cut(input, cleanedLength, output.getNumSamples());
            cleanedLength += output.getNumSamples();
            const float fundamental = engine.getCurrentFundamental();
            const Signal32 cleaned = point.settings.aggressive
                                         ? cascade.clean(frame, fundamental, selection)
                                         : bank.clean(frame, fundamental, selection);
            const Signal32 expected =
                point.settings.residual ? difference(frame, cleaned) : cleaned;
            ASSERT_LT(peakOf(difference(output, expected)), tolerance)
                << point.sampleRate << " Hz, " << point.numChannels << " channels, blocks of "
                << point.blockSize << ", " << point.settings.harmonics << " harmonics, aggressive "
                << point.settings.aggressive << ", frame " << numFrames;
            largestChange = std::max(largestChange, peakOf(difference(output, frame)));
        }
        EXPECT_GT(numFrames, 3);
        EXPECT_GT(largestChange, 0.001F);
    }
}
