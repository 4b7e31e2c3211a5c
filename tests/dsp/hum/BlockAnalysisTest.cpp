#include "dsp/hum/BlockAnalysis.h"

#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <numbers>

using namespace testing_support;
using orvo::audio::BlockAnalysis;

namespace
{

constexpr double analysisRate = 48000.0;
constexpr int blockSize = 4096;
constexpr int analysisHop = 2048;
constexpr int numBins = blockSize / 2 + 1;
constexpr double binSpacing = analysisRate / blockSize;
constexpr BlockAnalysis::Tracking usual{50.0F, 15.0F};

/// Magnitudes that are 1 in the given bins.
Signal32 peaksAt(std::initializer_list<int> bins)
{
    Signal32 magnitudes(1, numBins, 0.0F);
    for (const int bin : bins)
        magnitudes.getWriteChannelPtr(0)[bin] = 1.0F;
    return magnitudes;
}

class Analysis : public testing::Test
{
protected:
    Analysis()
    {
        const BlockAnalysis::Format format{1, analysisRate, blockSize, analysisHop};
        analysis.setFormat(format, analysis.prepare(format, blockSize));
    }

    float analyse(const Signal32& block, float fundamental, BlockAnalysis::Tracking tracking)
    {
        analysis.add(block);
        return analysis.analyseBlock(fundamental, tracking);
    }

    /// The estimate near 47 Hz, with these bins as peaks.
    float estimateFor(std::initializer_list<int> peaks, const Signal32& phaseDifferences) const
    {
        return analysis.estimateFundamental(peaksAt(peaks), phaseDifferences, analysisHop, 47.0F);
    }

    BlockAnalysis analysis;
};

} // namespace

TEST_F(Analysis, refinesTheStrongestBinByItsPhaseAdvanceAndWrapsOnlyTheNegativeSide)
{
    constexpr double turn = 2.0 * std::numbers::pi;
    const double advances[][2] = {{0.0, 0.0},   {0.5, 0.5}, {-0.5, -0.5},      {3.0, 3.0},
                                  {-3.0, -3.0}, {5.0, 5.0}, {-5.0, turn - 5.0}};
    for (const auto& [advance, taken] : advances)
    {
        // Half a block per analysisHop: half a turn per bin is expected.
        const Signal32 differences(1, numBins, static_cast<float>(4 * std::numbers::pi + advance));
        EXPECT_NEAR(
            estimateFor({4}, differences),
            static_cast<float>(4 * binSpacing + taken * analysisRate / (analysisHop * turn)),
            1e-4F);
    }
}

TEST_F(Analysis, looksAtTheNearestBinAndItsNeighboursAndPrefersTheLowerOne)
{
    // Every bin advances by something of its own beyond what is expected, which tells it apart.
    const auto differences = makeSignal(
        1, numBins, [](int, int bin) { return bin < 8 ? bin * (std::numbers::pi + 0.01) : 0.0; });
    const auto chosenBin = [&](std::initializer_list<int> bins)
    {
        for (const int bin : {3, 4, 5})
            if (estimateFor(bins, differences) == estimateFor({bin}, differences))
                return bin;
        return -1;
    };
    EXPECT_EQ(chosenBin({3, 4, 5}), 3);
    EXPECT_EQ(chosenBin({4, 5}), 4);
    EXPECT_EQ(chosenBin({5}), 5);
    EXPECT_EQ(chosenBin({3, 5}), 3);
    EXPECT_EQ(chosenBin({2, 6}), 3); // out of its sight; all three are equally weak
}

TEST_F(Analysis, leavesFrequenciesOutsideTheBinsAlone)
{
    const Signal32 zeros(1, numBins, 0.0F);
    for (const float frequency : {17.0F, 0.0F, -50.0F, 23998.0F, 1.0e20F})
        EXPECT_EQ(analysis.estimateFundamental(zeros, zeros, analysisHop, frequency), frequency);
}

TEST_F(Analysis, refusesAnEstimateExactlyAtTheLargestStep)
{
    // Silence after a reset: the strongest bin is the lowest of the three, its estimate known.
    const Signal32 silence(1, blockSize, 0.0F);
    const Signal32 zeros(1, numBins, 0.0F);
    const float fundamental = 48.0F;
    const float estimate = analysis.estimateFundamental(zeros, zeros, analysisHop, fundamental);
    const float step = std::fabs(fundamental - estimate);
    const float adaptivity =
        static_cast<float>(static_cast<double>(step) * analysisRate / analysisHop);
    ASSERT_EQ(static_cast<double>(static_cast<float>(analysisHop) * adaptivity) / analysisRate,
              static_cast<double>(step));
    EXPECT_NE(analyse(silence, fundamental, {100.0F, adaptivity}), estimate);
    analysis.reset();
    EXPECT_EQ(analyse(silence, fundamental, {100.0F, std::nextafter(adaptivity, HUGE_VALF)}),
              estimate);
}

TEST_F(Analysis, neverChangesASpectrumThatItHasHandedOut)
{
    const Signal32 noise = makeNoise(-20.0, analysisRate, 1.0);
    analyse(cut(noise, 0, blockSize), 50.0F, usual);
    const Signal32 handedOut = analysis.getInputMagnitudes();
    const Signal32 before = cut(handedOut, 0, handedOut.getNumSamples());
    analyse(cut(noise, 9000, blockSize), 50.0F, usual);
    EXPECT_TRUE(areIdentical(handedOut, before));
    EXPECT_NE(analysis.getInputMagnitudes().getReadChannelPtr(0), handedOut.getReadChannelPtr(0));
}

TEST(HammingWindow, isSymmetricSampledHalfASampleOff)
{
    const auto window = orvo::audio::WindowFunctions::generateHammingWindow(2, 4);
    for (int n = 0; n < 4; ++n)
        EXPECT_FLOAT_EQ(window.getReadChannelPtr(1)[n], n % 3 == 0 ? 0.21473089F : 0.8652691F);
}
