#include "dsp/hum/BlockAnalysis.h"

#include "dsp/signal/MathEx.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

using namespace testing_support;
using orvo::audio::BlockAnalysis;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int blockSize = 4096;
constexpr int hop = 2048;
constexpr int numBins = blockSize / 2 + 1;
constexpr double binSpacing = sampleRate / blockSize;
constexpr BlockAnalysis::Tracking usual{50.0F, 15.0F};

void prepare(BlockAnalysis& analysis, int numChannels = 1)
{
    analysis.setFormat(numChannels, sampleRate, blockSize, hop);
    analysis.reset();
}

/// Magnitudes that are 1 in the given bins.
Signal32 peaksAt(std::initializer_list<int> bins)
{
    Signal32 magnitudes(1, numBins, 0.0F);
    for (const int bin : bins)
        magnitudes.getWriteChannelPtr(0)[bin] = 1.0F;
    return magnitudes;
}

/// What the analysis makes of one strong bin whose phase advanced by `advance` beyond the expected
/// one.
float estimateFor(const BlockAnalysis& analysis, int bin, double advance, float near)
{
    const double expected = bin * std::numbers::pi; // half a block per hop: half a turn per bin
    Signal32 differences(1, numBins, 0.0F);
    differences.getWriteChannelPtr(0)[bin] = static_cast<float>(expected + advance);
    return analysis.estimateFundamental(peaksAt({bin}), differences, hop, near);
}

} // namespace

TEST(FundamentalEstimate, refinesTheStrongestBinByItsPhaseAdvance)
{
    BlockAnalysis analysis;
    prepare(analysis);
    const float perRadian = static_cast<float>(sampleRate / (hop * 2.0 * std::numbers::pi));
    for (const double advance : {0.0, 0.5, -0.5, 3.0, -3.0})
        EXPECT_NEAR(estimateFor(analysis, 4, advance, 47.0F),
                    static_cast<float>(4 * binSpacing) + perRadian * static_cast<float>(advance),
                    1e-4F);
}

TEST(FundamentalEstimate, wrapsOnlyTheNegativeSide)
{
    BlockAnalysis analysis;
    prepare(analysis);
    const float turn = static_cast<float>(sampleRate / hop);
    const float centre = static_cast<float>(4 * binSpacing);
    const float atFive = static_cast<float>(sampleRate * 5.0 / (hop * 2.0 * std::numbers::pi));
    EXPECT_NEAR(estimateFor(analysis, 4, 5.0, 47.0F), centre + atFive, 1e-4F);
    EXPECT_NEAR(estimateFor(analysis, 4, -5.0, 47.0F), centre - atFive + turn, 1e-4F);
}

TEST(FundamentalEstimate, looksAtTheNearestBinAndItsNeighboursAndPrefersTheLowerOne)
{
    BlockAnalysis analysis;
    prepare(analysis);
    // Every bin advances by something of its own beyond what is expected, which tells it apart.
    Signal32 differences(1, numBins, 0.0F);
    for (int bin = 0; bin < 8; ++bin)
        differences.getWriteChannelPtr(0)[bin] =
            static_cast<float>(bin * std::numbers::pi + 0.01 * bin);
    const auto chosenBin = [&](std::initializer_list<int> bins)
    {
        const float estimate = analysis.estimateFundamental(peaksAt(bins), differences, hop, 47.0F);
        for (const int bin : {3, 4, 5})
            if (estimate == analysis.estimateFundamental(peaksAt({bin}), differences, hop, 47.0F))
                return bin;
        return -1;
    };
    EXPECT_EQ(chosenBin({3, 4, 5}), 3);
    EXPECT_EQ(chosenBin({4, 5}), 4);
    EXPECT_EQ(chosenBin({5}), 5);
    EXPECT_EQ(chosenBin({3, 5}), 3);
    EXPECT_EQ(chosenBin({2, 6}), 3); // out of its sight; all three are equally weak
}

TEST(FundamentalEstimate, leavesFrequenciesOutsideTheBinsAlone)
{
    BlockAnalysis analysis;
    prepare(analysis);
    const Signal32 zeros(1, numBins, 0.0F);
    for (const float frequency : {17.0F, 0.0F, -50.0F, 23998.0F, 1.0e20F})
        EXPECT_EQ(analysis.estimateFundamental(zeros, zeros, hop, frequency), frequency);
}

TEST(BlockAnalysis, drawsTheFundamentalBackWhenTheEstimateIsOutOfReach)
{
    BlockAnalysis analysis;
    prepare(analysis);
    const Signal32 far = makeTone(70.0, 0.5, sampleRate, 1.0);
    float fundamental = 60.0F;
    const float expected = 0.3F * 50.0F + 0.7F * 60.0F;
    EXPECT_FLOAT_EQ(analysis.analyseBlock(cut(far, 0, blockSize), fundamental, usual), expected);
    // Without adaptivity nothing is within reach, not even the right frequency.
    const BlockAnalysis::Tracking fixed{50.0F, 0.0F};
    for (int block = 0; block < 40; ++block)
        fundamental = analysis.analyseBlock(cut(far, 0, blockSize), fundamental, fixed);
    EXPECT_NEAR(fundamental, 50.0F, 1e-4F);
}

TEST(BlockAnalysis, refusesAnEstimateExactlyAtTheLargestStep)
{
    // Silence after a reset: the strongest bin is the lowest of the three, its estimate known.
    BlockAnalysis analysis;
    prepare(analysis);
    const Signal32 silence(1, blockSize, 0.0F);
    const Signal32 zeros(1, numBins, 0.0F);
    const float fundamental = 48.0F;
    const float estimate = analysis.estimateFundamental(zeros, zeros, hop, fundamental);
    const float step = std::fabs(fundamental - estimate);
    const float adaptivity = static_cast<float>(static_cast<double>(step) * sampleRate / hop);
    ASSERT_EQ(static_cast<double>(static_cast<float>(hop) * adaptivity) / sampleRate,
              static_cast<double>(step));
    EXPECT_NE(analysis.analyseBlock(silence, fundamental, {100.0F, adaptivity}), estimate);
    analysis.reset();
    EXPECT_EQ(analysis.analyseBlock(silence, fundamental,
                                    {100.0F, std::nextafter(adaptivity, HUGE_VALF)}),
              estimate);
}

TEST(BlockAnalysis, displayRisesAtOnceAndFallsSmoothly)
{
    BlockAnalysis analysis;
    prepare(analysis);
    const Signal32 loud = cut(makeTone(64 * binSpacing, 0.5, sampleRate, 1.0), 0, blockSize);
    const Signal32 silence(1, blockSize, 0.0F);
    const auto level = [&](const Signal32& block)
    {
        analysis.analyseBlock(block, 50.0F, usual);
        return analysis.getInputMagnitudes().getReadChannelPtr(0)[256];
    };
    const float full = level(loud);
    const float decay = orvo::MathEx::fromDecibel(-96.0F * hop / 48000.0F);
    EXPECT_NEAR(level(silence), decay * full, 1e-6F);
    EXPECT_NEAR(level(silence), decay * decay * full, 1e-6F);
    EXPECT_NEAR(level(loud), full, 1e-6F);
}

TEST(BlockAnalysis, neverChangesASpectrumThatItHasHandedOut)
{
    BlockAnalysis analysis;
    prepare(analysis);
    EXPECT_EQ(analysis.getInputMagnitudes().getNumSamples(), 0);
    const Signal32 noise = makeNoise(-20.0, sampleRate, 1.0);
    analysis.analyseBlock(cut(noise, 0, blockSize), 50.0F, usual);
    const Signal32 handedOut = analysis.getInputMagnitudes();
    const std::vector<float> before(handedOut.getReadChannelPtr(0),
                                    handedOut.getReadChannelPtr(0) + handedOut.getNumSamples());
    analysis.analyseBlock(cut(noise, 9000, blockSize), 50.0F, usual);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), handedOut.getReadChannelPtr(0)));
    EXPECT_NE(analysis.getInputMagnitudes().getReadChannelPtr(0), handedOut.getReadChannelPtr(0));
}
