#include "plugin/BlockProcessing.h"

#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace
{

using namespace testing_support;
using namespace orvo::audio;
using Set = juce::AudioChannelSet;

/// Holds as much back as it says, gives its samples out in lumps, and tells what was done to it.
struct DelayingProcessor : BaseAudioProcessor
{
    bool setFormat(const AudioFormat& input, const AudioFormat& output) override
    {
        ++numFormats;
        return BaseAudioProcessor::setFormat(input, output);
    }

    ProcessingInfo getProcessingInfo() override
    {
        return {.processingLatency = std::exchange(delay, delayAfterNextQuestion.value_or(delay)),
                .additionalLatency = additionalLatency};
    }

    void reset() override { queue.clear(); }

    Signal32 process(const Signal32& input, bool bypass) override
    {
        wasBypassed = bypass;
        wasFlushing = juce::FloatVectorOperations::areDenormalsDisabled();
        if (delay == 0)
            return input;
        queue.add(input);
        const int ready = static_cast<int>(queue.getNumSamples()) - delay;
        return ready > 0 ? queue.get(ready / lump * lump) : Signal32();
    }

    std::string getName() override { return "Delay"; }

    int delay = 512;
    std::optional<int> delayAfterNextQuestion;
    int additionalLatency = 0;
    int lump = 1;
    int numFormats = 0;
    bool wasBypassed = false;
    bool wasFlushing = false;
    SignalQueue<Signal32> queue;
};

struct PlugIn : BasePlugInProcessor
{
    using BasePlugInProcessor::BasePlugInProcessor;

    bool hasEditor() const override { return false; }

    juce::AudioProcessorEditor* createEditor() override { return nullptr; }
};

class BlockProcessingTest : public ::testing::Test
{
protected:
    bool delaysBy(int delay)
    {
        const Signal32 ramp = makeRamp(1, 2000);
        return isDelayed(play(plugIn, ramp, {100, 7}), ramp, delay);
    }

    std::shared_ptr<DelayingProcessor> processor = std::make_shared<DelayingProcessor>();
    PlugIn plugIn{processor, "Bundle", "Plug-in", 1, "1.0.0"};
};

} // namespace

TEST_F(BlockProcessingTest, delaysByExactlyTheReportedLatencyAtEveryBlockSizeBypassedOrNot)
{
    const Signal32 ramp = makeRamp(1, 12000);
    for (const std::vector<int>& blockSizes :
         {std::vector{64}, {1}, {512}, {513}, {10000}, {7, 1024, 1, 300}})
    {
        juce::FloatVectorOperations::disableDenormalisedNumberSupport(false);
        EXPECT_EQ(prepare(plugIn, Set::mono()), 512);
        const Signal32 start = cut(ramp, 0, 6000);
        EXPECT_TRUE(isDelayed(play(plugIn, start, blockSizes), start, 512));
        EXPECT_FALSE(processor->wasBypassed);
        EXPECT_TRUE(processor->wasFlushing);
        EXPECT_FALSE(juce::FloatVectorOperations::areDenormalsDisabled());
        EXPECT_TRUE(areIdentical(play(plugIn, cut(ramp, 6000, 6000), blockSizes, true),
                                 cut(ramp, 6000 - 512, 6000)));
        EXPECT_TRUE(processor->wasBypassed);
    }
    processor->lump = 2048; // holds back more than it says
    prepare(plugIn, Set::mono());
    EXPECT_EQ(peakOf(play(plugIn, makeRamp(1, 500), {100})), 0.0F); // rather than partly filled
}

TEST_F(BlockProcessingTest, formatsOnlyOnceButResetsEveryTime)
{
    for (int round = 0; round < 2; ++round)
    {
        prepare(plugIn, Set::mono());
        EXPECT_TRUE(delaysBy(512)); // nothing of before is left
    }
    EXPECT_EQ(processor->numFormats, 1);
    prepare(plugIn, Set::stereo());
    EXPECT_EQ(processor->numFormats, 2);
}

TEST_F(BlockProcessingTest, followsChangesOfTimingButReportsOnlyThoseOfTheAdditionalLatency)
{
    prepare(plugIn, Set::mono());
    processor->delay = 100;
    processor->reset();
    EXPECT_TRUE(delaysBy(100));
    EXPECT_EQ(plugIn.getLatencySamples(), 512);
    processor->additionalLatency = 8;
    play(plugIn, makeRamp(1, 10), {10});
    EXPECT_EQ(plugIn.getLatencySamples(), 108);
    processor->delay = 0;
    EXPECT_EQ(prepare(plugIn, Set::mono()), 8);
    processor->delayAfterNextQuestion = 512; // after the latency was read, before the block
    EXPECT_TRUE(delaysBy(512));
}

TEST(ChannelMapping, understandsTheHostsLoudspeakersOrFallsBack)
{
    using enum SpeakerId;
    const auto mappingOf = [](const char* names, int numChannels)
    { return kalim::plugin::makeFormat(names, numChannels, 44100.0).channelMapping; };
    EXPECT_EQ(mappingOf("l R Lfe", 3), (std::vector{left, right, lowFrequencyEffects}));
    EXPECT_EQ(mappingOf("L X", 2), (std::vector{left, undefined}));
    EXPECT_EQ(mappingOf("L R C", 2), (std::vector{left, right}));
    EXPECT_EQ(mappingOf("", 1), (std::vector{mono}));
    EXPECT_TRUE(mappingOf("", 0).empty());
}

TEST_F(BlockProcessingTest, takesOnlyEqualLayoutsOfOneBusAndTwoChannelsInOneHost)
{
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::disabled()}, {Set::disabled()}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::mono()}, {Set::stereo()}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::stereo(), Set::stereo()}, {Set::stereo()}}));
    EXPECT_EQ(kalim::plugin::getChannelLimit("/opt/host/bin/host"), 8);
    EXPECT_EQ(kalim::plugin::getChannelLimit("C:\\Program Files\\EDIUS 11\\host.exe"), 2);
}
