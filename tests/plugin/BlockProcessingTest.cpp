#include "plugin/BlockProcessing.h"

#include "plugin/ChannelMapping.h"
#include "tests/plugin/DelayingProcessor.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

class BlockProcessingTest : public ::testing::Test
{
protected:
    /// Returns the latency that was reported.
    int prepare(int numChannels = 1)
    {
        const auto format = ChannelMapping::makeFormat("", numChannels, 48000.0);
        reports.clear();
        blocks.prepare(format, format, numChannels);
        EXPECT_EQ(reports.size(), 1U);
        return reports.back();
    }

    /// Runs the samples 1, 2, 3, ... through in blocks of these sizes, taken in turn.
    std::vector<float> runRamp(const std::vector<int>& blockSizes, int numSamples)
    {
        std::vector<float> output;
        for (std::size_t call = 0; static_cast<int>(output.size()) < numSamples; ++call)
        {
            juce::AudioBuffer<float> buffer(1, blockSizes[call % blockSizes.size()]);
            for (int n = 0; n < buffer.getNumSamples(); ++n)
                buffer.setSample(0, n,
                                 static_cast<float>(output.size()) + static_cast<float>(n) + 1.0F);
            blocks.followTiming(1);
            blocks.process(buffer, 1, 1, call % 3 == 2);
            EXPECT_EQ(processor->wasBypassed, call % 3 == 2);
            output.insert(output.end(), buffer.getReadPointer(0),
                          buffer.getReadPointer(0) + buffer.getNumSamples());
        }
        return output;
    }

    /// Whether the output is the ramp, late by `delay` samples and silent before.
    static void expectDelayed(const std::vector<float>& output, int delay)
    {
        for (std::size_t n = 0; n < output.size(); ++n)
            ASSERT_EQ(output[n],
                      std::max(static_cast<float>(n) + 1.0F - static_cast<float>(delay), 0.0F))
                << "sample " << n;
    }

    std::shared_ptr<DelayingProcessor> processor = std::make_shared<DelayingProcessor>();
    std::vector<int> reports;
    BlockProcessing blocks{processor, [this](int latency) { reports.push_back(latency); }};
};

} // namespace

TEST_F(BlockProcessingTest, delaysByExactlyTheReportedLatencyAtEveryBlockSize)
{
    for (const std::vector<int>& blockSizes :
         {std::vector{64}, {1}, {512}, {513}, {10000}, {7, 1024, 1, 300}})
    {
        EXPECT_EQ(prepare(), 512);
        expectDelayed(runRamp(blockSizes, 12000), 512);
    }
}

TEST_F(BlockProcessingTest, passesTheOutputOnWithoutADelay)
{
    processor->delay = 0;
    processor->additionalLatency = 30;
    EXPECT_EQ(prepare(), 30);
    expectDelayed(runRamp({100, 7}, 2000), 0);
}

TEST_F(BlockProcessingTest, isSilentRatherThanPartlyFilledWhileTheProcessorFallsShort)
{
    processor->lump = 2048; // holds back more than it says
    prepare();
    const std::vector<float> output = runRamp({100}, 500);
    EXPECT_EQ(output, std::vector<float>(output.size(), 0.0F));
}

TEST_F(BlockProcessingTest, formatsOnlyOnceButResetsEveryTime)
{
    prepare();
    prepare();
    EXPECT_EQ(processor->numFormats, 1);
    EXPECT_EQ(processor->numResets, 2);
    prepare(2);
    EXPECT_EQ(processor->numFormats, 2);
    runRamp({64}, 1000);
    prepare();
    expectDelayed(runRamp({64}, 2000), 512); // nothing of before is left
}

TEST_F(BlockProcessingTest, reportsOnlyAChangeOfTheAdditionalLatency)
{
    prepare();
    blocks.followTiming(1);
    processor->delay = 100;
    blocks.followTiming(1);
    EXPECT_EQ(reports, std::vector{512});
    processor->additionalLatency = 8;
    blocks.followTiming(1);
    blocks.followTiming(1);
    EXPECT_EQ(reports, (std::vector{512, 108}));
    processor->reset();
    expectDelayed(runRamp({64}, 1000), 100);
}

TEST_F(BlockProcessingTest, keepsTimeWhenTheProcessorChangesItsMindBetweenTwoQuestions)
{
    processor->delay = 0;
    prepare();
    juce::AudioBuffer<float> buffer(1, 64);
    buffer.clear();
    buffer.setSample(0, 63, 1.0F);
    processor->delay = 512; // after the latency was read, before the block
    blocks.process(buffer, 1, 1, false);
    EXPECT_EQ(buffer.getMagnitude(0, 64), 0.0F);
    std::vector<float> output = runRamp({64}, 2000);
    EXPECT_EQ(output[511], 1.0F); // the last sample before the ramp
    output[511] = 0.0F;
    expectDelayed(output, 512);
}

TEST(ChannelMapping, understandsTheHostsLoudspeakersOrFallsBack)
{
    using enum orvo::audio::SpeakerId;
    const auto mappingOf = [](const char* names, int numChannels)
    { return ChannelMapping::makeFormat(names, numChannels, 44100.0).channelMapping; };
    EXPECT_EQ(mappingOf("L R", 2), (std::vector{left, right}));
    EXPECT_EQ(mappingOf("l r Lfe", 3), (std::vector{left, right, lowFrequencyEffects}));
    EXPECT_EQ(mappingOf("L X", 2), (std::vector{left, undefined}));
    EXPECT_EQ(mappingOf("L R C", 2), (std::vector{left, right}));
    EXPECT_EQ(mappingOf("", 1), (std::vector{mono}));
    EXPECT_TRUE(mappingOf("", 0).empty());
}

TEST(ChannelMapping, givesOneHostTwoChannelsOnly)
{
    EXPECT_EQ(ChannelMapping::getChannelLimit("/opt/host/bin/host"), 8);
    EXPECT_EQ(ChannelMapping::getChannelLimit("C:\\Program Files\\EDIUS 11\\host.exe"), 2);
}
