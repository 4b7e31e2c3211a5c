#include "tests/support/EngineRun.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

using namespace testing_support;
using orvo::audio::AudioFormat;
using orvo::audio::HarmonicStatus;
using orvo::audio::Kalimmer;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int hop = 2048;

Signal32 makeProgram(int numChannels = 1, double seconds = 2.0)
{
    return mix(
        makeHum({.startFrequency = 50.1, .endFrequency = 50.1}, sampleRate, seconds, numChannels),
        makeNoise(-40.0, sampleRate, seconds, numChannels));
}

bool setFormat(Kalimmer& engine, int numChannels, double rate = sampleRate)
{
    return engine.setFormat(makeFormat(numChannels, rate), makeFormat(numChannels, rate));
}

} // namespace

TEST(Kalimmer, hasItsParametersInOrder)
{
    struct Row
    {
        const char* name;
        const char* unit;
        float min, max, defaultValue;
        const char* text;
    };

    const std::array<Row, 7> table{{{"FundamentalFrequency", "Hz", 40, 500, 50, "50.00"},
                                    {"Sensitivity", "%", 0, 100, 30, "30.0"},
                                    {"Adaptivity", "Hz/s", 0, 80, 15, "15.0"},
                                    {"NumberOfHarmonics", "", 0, 96, 1, "1"},
                                    {"OnlyOddHarmonics", "", 0, 1, 0, "Off"},
                                    {"AggressiveMode", "", 0, 1, 0, "Off"},
                                    {"ResidualMode", "", 0, 1, 0, "Off"}}};
    Kalimmer engine;
    ASSERT_EQ(engine.getNumParameters(), 7);
    for (int id = 0; id < 7; ++id)
    {
        const Row& row = table[static_cast<std::size_t>(id)];
        const auto& parameter = engine.getParameter(id);
        float min = 0.0F;
        float max = 0.0F;
        engine.getParameterRange(id, min, max);
        EXPECT_EQ(parameter.name, row.name);
        EXPECT_EQ(parameter.unit, row.unit);
        EXPECT_EQ(min, row.min);
        EXPECT_EQ(max, row.max);
        EXPECT_EQ(engine.getParameterValue(id), row.defaultValue);
        EXPECT_EQ(parameter.getDefaultValueAsFloat(), row.defaultValue);
        EXPECT_EQ(parameter.getValueText(), row.text);
    }
    EXPECT_EQ(engine.getName(), "Kalim");
}

TEST(Kalimmer, derivesItsLatencyFromTheSampleRate)
{
    const std::array<std::pair<double, int>, 7> hops{{{44100.0, 2048},
                                                      {48000.0, 2048},
                                                      {88200.0, 4096},
                                                      {96000.0, 4096},
                                                      {192000.0, 8192},
                                                      {22050.0, 1024},
                                                      {8000.0, 256}}};
    for (const auto& [rate, expected] : hops)
    {
        Kalimmer engine;
        ASSERT_TRUE(setFormat(engine, 2, rate));
        EXPECT_EQ(engine.getProcessingInfo().processingLatency, expected) << rate;
        EXPECT_EQ(engine.getProcessingInfo().baseLatency, 0);
        EXPECT_EQ(engine.getProcessingInfo().additionalLatency, 0);
        EXPECT_EQ(engine.getProcessingInfo().timeScale, 1.0);
        engine.setParameterValue(Kalimmer::AggressiveMode, 1.0F, false);
        EXPECT_EQ(engine.getProcessingInfo().processingLatency, 0);
    }
}

TEST(Kalimmer, refusesFormatsThatDoNotMatchAndGoesOnAsBefore)
{
    Kalimmer engine;
    apply({}, engine);
    Kalimmer undisturbed;
    apply({}, undisturbed);
    ASSERT_TRUE(setFormat(engine, 2));
    ASSERT_TRUE(setFormat(undisturbed, 2));
    const Signal32 program = makeProgram(2);
    const std::array blocks{512};
    run(engine, cut(program, 0, 48000), blocks);
    run(undisturbed, cut(program, 0, 48000), blocks);

    EXPECT_FALSE(engine.setFormat(makeFormat(2, sampleRate), makeFormat(1, sampleRate)));
    EXPECT_EQ(engine.getOutputFormat().getNumChannels(), 1);
    EXPECT_FALSE(engine.setFormat(makeFormat(0, sampleRate), makeFormat(0, sampleRate)));
    EXPECT_FALSE(engine.setFormat(makeFormat(2, sampleRate), makeFormat(2, 44100.0)));
    EXPECT_TRUE(areIdentical(run(engine, cut(program, 48000, 48000), blocks),
                             run(undisturbed, cut(program, 48000, 48000), blocks)));
}

TEST(Kalimmer, passesEverythingOnBeforeAFormatAndWhenChannelsDoNotFit)
{
    const Signal32 program = makeProgram(2);
    Kalimmer engine;
    const Signal32 returned = engine.process(program, false);
    EXPECT_EQ(returned.getReadChannelPtr(0), program.getReadChannelPtr(0));
    ASSERT_TRUE(setFormat(engine, 3));
    EXPECT_EQ(engine.process(program, false).getReadChannelPtr(0), program.getReadChannelPtr(0));
}

TEST(Kalimmer, keepsOneHopBackInNormalMode)
{
    Kalimmer engine;
    ASSERT_TRUE(setFormat(engine, 1));
    EXPECT_EQ(engine.process(Signal32(1, hop, 0.0F), false).getNumSamples(), 0);
    EXPECT_EQ(engine.process(Signal32(1, 1, 0.0F), false).getNumSamples(), hop);
    EXPECT_EQ(engine.process(Signal32::empty, false).getNumSamples(), 0);
}

TEST(Kalimmer, givesTheInputBackWithoutHarmonics)
{
    const Signal32 program = makeProgram(2);
    for (const bool aggressive : {false, true})
    {
        const Signal32 output =
            run({.harmonics = 0, .aggressive = aggressive}, program, sampleRate, 700);
        EXPECT_TRUE(areIdentical(output, cut(program, 0, output.getNumSamples())));
        const Signal32 residual = run({.harmonics = 0, .aggressive = aggressive, .residual = true},
                                      program, sampleRate, 700);
        EXPECT_EQ(peakOf(residual), 0.0F);
    }
}

TEST(Kalimmer, splitsTheInputIntoOutputAndResidual)
{
    const Signal32 program = makeProgram(2);
    for (const bool aggressive : {false, true})
    {
        const Signal32 output = run({.aggressive = aggressive}, program, sampleRate);
        const Signal32 residual =
            run({.aggressive = aggressive, .residual = true}, program, sampleRate);
        // Each of the two subtractions rounds once.
        EXPECT_LT(peakOf(difference(mix(output, residual), program)), 1.0e-7F);
        EXPECT_GT(peakOf(residual), 0.03F);
    }
}

TEST(Kalimmer, doesNotCareAboutBlockSizesBelowAHop)
{
    const Signal32 program = makeProgram(2);
    const auto outputOf = [&](std::vector<int> blockSizes)
    {
        Kalimmer engine;
        apply({}, engine);
        setFormat(engine, 2);
        return run(engine, program, blockSizes);
    };
    const Signal32 expected = outputOf({512});
    for (const std::vector<int>& blockSizes :
         {std::vector{1}, {64}, {17, 441}, {2047}, {1, 2047, 3, 1023}, {1024}})
        EXPECT_TRUE(areIdentical(outputOf(blockSizes), expected)) << blockSizes.front();
}

TEST(Kalimmer, isLikeNewAfterAReset)
{
    const Signal32 program = makeProgram(2);
    const std::array blocks{333};
    for (const bool aggressive : {false, true})
    {
        const EngineSettings settings{.fundamental = 50.0F, .aggressive = aggressive};
        Kalimmer engine;
        apply({.fundamental = 60.0F, .harmonics = 96}, engine);
        setFormat(engine, 2);
        run(engine, makeHum({.startFrequency = 60.2, .endFrequency = 60.2}, sampleRate, 1.0, 2),
            blocks);
        apply(settings, engine);
        engine.reset();
        EXPECT_EQ(engine.getInputMagnitudes().getNumSamples(), 0);
        EXPECT_EQ(engine.getCurrentFundamental(), 50.0F);

        Kalimmer fresh;
        apply(settings, fresh);
        setFormat(fresh, 2);
        EXPECT_TRUE(areIdentical(run(engine, program, blocks), run(fresh, program, blocks)));
    }
}

TEST(Kalimmer, goesOnTrackingWhileBypassed)
{
    Kalimmer engine;
    ASSERT_TRUE(setFormat(engine, 1));
    const Signal32 program =
        makeHum({.startFrequency = 50.4, .endFrequency = 50.4}, sampleRate, 3.0);
    for (int position = 0; position + 512 <= program.getNumSamples(); position += 512)
    {
        const Signal32 block = cut(program, position, 512);
        ASSERT_EQ(engine.process(block, true).getReadChannelPtr(0), block.getReadChannelPtr(0));
    }
    EXPECT_NEAR(engine.getCurrentFundamental(), 50.4F, 0.1F);
    EXPECT_GT(engine.getInputMagnitudes().getNumSamples(), 0);
}

TEST(Kalimmer, neverWritesIntoItsInput)
{
    for (const bool aggressive : {false, true})
    {
        Kalimmer engine;
        apply({.aggressive = aggressive}, engine);
        setFormat(engine, 1);
        const Signal32 program = makeProgram();
        const Signal32 block = cut(program, 0, 3 * hop);
        engine.process(block, false);
        EXPECT_TRUE(areIdentical(block, cut(program, 0, 3 * hop)));
    }
}

TEST(Kalimmer, reportsTheHarmonicsThatItTreats)
{
    Kalimmer engine;
    apply({.harmonics = 3, .onlyOdd = true}, engine);
    setFormat(engine, 1);
    const auto frequencies = [&]
    {
        std::vector<float> result;
        for (const HarmonicStatus& harmonic : engine.getDetectionStatus())
            result.push_back(harmonic.frequency);
        return result;
    };
    const auto allPresent = [&]
    {
        const auto status = engine.getDetectionStatus();
        return std::ranges::all_of(status, [](const HarmonicStatus& h) { return h.present; });
    };
    EXPECT_EQ(frequencies(), (std::vector{50.0F, 150.0F, 250.0F}));
    EXPECT_FALSE(allPresent());
    run(engine, makeHum({}, sampleRate, 2.0), std::array{512});
    EXPECT_TRUE(allPresent());
    engine.reset();
    EXPECT_FALSE(allPresent());
    engine.setParameterValue(Kalimmer::AggressiveMode, 1.0F, false);
    EXPECT_TRUE(allPresent());
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, 0.0F, false);
    EXPECT_TRUE(engine.getDetectionStatus().empty());
}

TEST(Kalimmer, showsASpectrumOfFourTimesTheBins)
{
    Kalimmer engine;
    setFormat(engine, 2, 44100.0);
    constexpr double binSpacing = 44100.0 / 16384.0;
    run(engine, makeTone(400 * binSpacing, 0.5, 44100.0, 1.0, 2), std::array{512});
    const Signal32 magnitudes = engine.getInputMagnitudes();
    ASSERT_EQ(magnitudes.getNumChannels(), 1);
    ASSERT_EQ(magnitudes.getNumSamples(), 8193);
    const float* const first = magnitudes.getReadChannelPtr(0);
    EXPECT_EQ(std::max_element(first, first + 8193) - first, 400);
    // A Hamming window times 4 / (channels * N) over the sum of both channels: 0.54 * 2 *
    // amplitude.
    EXPECT_NEAR(first[400], 0.54F, 0.001F);
}

TEST(Kalimmer, lagsBehindWhenCallsBringMoreThanAHop)
{
    // One analysis per call: of 8192 samples each, only every fourth hop is looked at.
    Kalimmer engine;
    setFormat(engine, 1);
    run(engine, makeProgram(1, 4.0), std::array{8192});
    EXPECT_EQ(engine.getNumAnalysedBlocks(), static_cast<unsigned int>(4 * 48000 / 8192 + 1));
}
