#include "tests/support/EngineRun.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace testing_support;
using orvo::audio::HarmonicStatus;
using orvo::audio::Kalimmer;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int hop = 2048;

Signal32 makeProgram()
{
    return mix(makeHum({.startFrequency = 50.1, .endFrequency = 50.1}, sampleRate, 2.0, 2),
               makeNoise(-40.0, sampleRate, 2.0, 2));
}

} // namespace

TEST(Kalimmer, hasItsParametersInOrder)
{
    const std::vector<std::string> table = {"FundamentalFrequency in Hz, 40 to 500: 50 as 50.00",
                                            "Sensitivity in %, 0 to 100: 30 as 30.0",
                                            "Adaptivity in Hz/s, 0 to 80: 15 as 15.0",
                                            "NumberOfHarmonics in , 0 to 96: 1 as 1",
                                            "OnlyOddHarmonics in , 0 to 1: 0 as Off",
                                            "AggressiveMode in , 0 to 1: 0 as Off",
                                            "ResidualMode in , 0 to 1: 0 as Off"};
    Kalimmer engine;
    ASSERT_EQ(engine.getNumParameters(), 7);
    for (int id = 0; id < 7; ++id)
    {
        const auto& parameter = engine.getParameter(id);
        float min = 0.0F;
        float max = 0.0F;
        engine.getParameterRange(id, min, max);
        std::ostringstream text;
        text << parameter.name << " in " << parameter.unit << ", " << min << " to " << max << ": "
             << parameter.getDefaultValueAsFloat() << " as " << parameter.getValueText();
        EXPECT_EQ(text.str(), table[static_cast<std::size_t>(id)]);
        EXPECT_EQ(engine.getParameterValue(id), parameter.getDefaultValueAsFloat());
    }
    EXPECT_EQ(engine.getName(), "Kalim");
}

TEST(Kalimmer, derivesItsLatencyFromTheSampleRate)
{
    const std::pair<double, int> hops[] = {{44100.0, 2048}, {48000.0, 2048},  {88200.0, 4096},
                                           {96000.0, 4096}, {192000.0, 8192}, {22050.0, 1024},
                                           {8000.0, 256}};
    for (const auto& [rate, expected] : hops)
    {
        PreparedEngine engine({}, 2, rate);
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
    PreparedEngine engine({}, 2);
    PreparedEngine undisturbed({}, 2);
    const Signal32 program = makeProgram();
    run(engine, program);
    run(undisturbed, program);
    EXPECT_FALSE(engine.setFormat(makeFormat(2, sampleRate), makeFormat(1, sampleRate)));
    EXPECT_EQ(engine.getOutputFormat().getNumChannels(), 1);
    EXPECT_FALSE(engine.setFormat(makeFormat(0, sampleRate), makeFormat(0, sampleRate)));
    EXPECT_FALSE(engine.setFormat(makeFormat(2, sampleRate), makeFormat(2, 44100.0)));
    EXPECT_TRUE(areIdentical(run(engine, program), run(undisturbed, program)));
    EXPECT_TRUE(engine.setFormat(makeFormat(2, sampleRate), makeFormat(2, sampleRate)));
}

TEST(Kalimmer, passesEverythingOnBeforeAFormatAndWhenChannelsDoNotFit)
{
    const Signal32 program = makeProgram();
    EXPECT_EQ(Kalimmer().process(program, false).getReadChannelPtr(0),
              program.getReadChannelPtr(0));
    EXPECT_EQ(PreparedEngine({}, 3).process(program, false).getReadChannelPtr(0),
              program.getReadChannelPtr(0));
}

TEST(Kalimmer, keepsOneHopBackInNormalMode)
{
    PreparedEngine engine({}, 1);
    EXPECT_EQ(engine.process(Signal32(1, hop, 0.0F), false).getNumSamples(), 0);
    EXPECT_EQ(engine.process(Signal32(1, 1, 0.0F), false).getNumSamples(), hop);
    EXPECT_EQ(engine.process(Signal32::empty, false).getNumSamples(), 0);
}

TEST(Kalimmer, splitsTheInputIntoOutputAndResidual)
{
    const Signal32 program = makeProgram();
    for (const bool aggressive : {false, true})
        for (const int harmonics : {0, 20})
        {
            EngineSettings settings{.harmonics = harmonics, .aggressive = aggressive};
            const Signal32 output = run(settings, program, sampleRate, 700);
            settings.residual = true;
            const Signal32 residual = run(settings, program, sampleRate, 700);
            // Each of the two subtractions rounds once.
            EXPECT_LT(peakOf(difference(mix(output, residual), program)), 1.0e-7F);
            if (harmonics > 0)
            {
                EXPECT_GT(peakOf(residual), 0.03F);
                continue;
            }
            EXPECT_TRUE(areIdentical(output, cut(program, 0, output.getNumSamples())));
            EXPECT_EQ(peakOf(residual), 0.0F);
        }
}

TEST(Kalimmer, doesNotCareAboutBlockSizesBelowAHop)
{
    const Signal32 program = makeProgram();
    const Signal32 expected = run({}, program);
    for (const std::vector<int>& blockSizes :
         {std::vector{1}, {64}, {17, 441}, {2047}, {1, 2047, 3, 1023}, {1024}})
    {
        PreparedEngine engine({}, 2);
        EXPECT_TRUE(areIdentical(run(engine, program, blockSizes), expected)) << blockSizes.front();
    }
}

TEST(Kalimmer, isLikeNewAfterAReset)
{
    const Signal32 program = makeProgram();
    for (const bool aggressive : {false, true})
    {
        const EngineSettings settings{.fundamental = 50.0F, .aggressive = aggressive};
        PreparedEngine engine({.fundamental = 60.0F, .harmonics = 96, .aggressive = aggressive}, 2);
        run(engine, makeHum({.startFrequency = 60.2, .endFrequency = 60.2}, sampleRate, 1.0, 2),
            {333});
        apply(settings, engine);
        engine.reset();
        EXPECT_EQ(engine.getInputMagnitudes().getNumSamples(), 0);
        EXPECT_EQ(engine.getCurrentFundamental(), 50.0F);
        EXPECT_TRUE(areIdentical(run(engine, program), run(settings, program)));
    }
}

TEST(Kalimmer, goesOnTrackingWhileBypassed)
{
    PreparedEngine engine({}, 1);
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
    const Signal32 program = makeProgram();
    for (const bool aggressive : {false, true})
    {
        const Signal32 block = cut(program, 0, 3 * hop);
        PreparedEngine({.aggressive = aggressive}, 2).process(block, false);
        EXPECT_TRUE(areIdentical(block, cut(program, 0, 3 * hop)));
    }
}

TEST(Kalimmer, reportsTheHarmonicsThatItTreats)
{
    PreparedEngine engine({.harmonics = 3, .onlyOdd = true}, 1);
    const auto allPresent = [&]
    {
        const auto status = engine.getDetectionStatus();
        return std::ranges::all_of(status, [](const HarmonicStatus& h) { return h.present; });
    };
    std::vector<float> frequencies;
    for (const HarmonicStatus& harmonic : engine.getDetectionStatus())
        frequencies.push_back(harmonic.frequency);
    EXPECT_EQ(frequencies, (std::vector{50.0F, 150.0F, 250.0F}));
    EXPECT_FALSE(allPresent());
    run(engine, makeHum({}, sampleRate, 2.0));
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
    PreparedEngine engine({}, 2, 44100.0);
    constexpr double binSpacing = 44100.0 / 16384.0;
    run(engine, makeTone(400 * binSpacing, 0.5, 44100.0, 1.0, 2));
    const Signal32 magnitudes = engine.getInputMagnitudes();
    ASSERT_EQ(magnitudes.getNumChannels(), 1);
    ASSERT_EQ(magnitudes.getNumSamples(), 8193);
    const float* const first = magnitudes.getReadChannelPtr(0);
    EXPECT_EQ(std::max_element(first, first + 8193) - first, 400);
    // A Hamming window times 4 / (channels * N) over the sum of both channels.
    EXPECT_NEAR(first[400], 0.54F * 2 * 0.5F, 0.001F);
}

TEST(Kalimmer, lagsBehindWhenCallsBringMoreThanAHop)
{
    // One analysis per call: of 8192 samples each, only every fourth hop is looked at.
    PreparedEngine engine({}, 2);
    run(engine, makeProgram(), {8192});
    EXPECT_EQ(engine.getNumAnalysedBlocks(), static_cast<unsigned int>(2 * 48000 / 8192 + 1));
}
