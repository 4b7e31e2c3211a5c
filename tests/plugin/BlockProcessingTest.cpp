#include "plugin/BlockProcessing.h"

#include "dsp/signal/SignalQueue.h"
#include "plugin/BasePluginProcessor.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace
{

using testing_support::areIdentical;
using testing_support::cut;
using testing_support::isDelayed;
using testing_support::makeRamp;
using testing_support::play;
using testing_support::Signal32;
using Set = juce::AudioChannelSet;

/// A processor that holds as much back as it says, gives its samples out in lumps, and can be asked
/// what was done to it.
class DelayingProcessor : public orvo::audio::BaseAudioProcessor
{
public:
    bool setFormat(const orvo::audio::AudioFormat& input,
                   const orvo::audio::AudioFormat& output) override
    {
        ++numFormats;
        return BaseAudioProcessor::setFormat(input, output);
    }

    orvo::audio::ProcessingInfo getProcessingInfo() override
    {
        const int answer = delay;
        delay = std::exchange(delayAfterNextQuestion, {}).value_or(delay);
        return {.processingLatency = answer, .additionalLatency = additionalLatency};
    }

    void reset() override
    {
        ++numResets;
        queue.clear();
    }

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
    int numResets = 0;
    bool wasBypassed = false;
    bool wasFlushing = false;

private:
    orvo::audio::SignalQueue<Signal32> queue;
};

class PlugIn : public BasePlugInProcessor
{
public:
    explicit PlugIn(std::shared_ptr<DelayingProcessor> delaying)
        : BasePlugInProcessor(std::move(delaying), "Bundle", "Plug-in", 1, "1.0.0")
    {
    }

    bool hasEditor() const override { return false; }

    juce::AudioProcessorEditor* createEditor() override { return nullptr; }
};

class BlockProcessingTest : public ::testing::Test
{
protected:
    /// Returns the latency that was reported.
    int prepare(const Set& channels = Set::mono())
    {
        EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
        plugIn.prepareToPlay(48000.0, 512);
        return plugIn.getLatencySamples();
    }

    bool delaysBy(int delay)
    {
        const Signal32 ramp = makeRamp(1, 2000);
        return isDelayed(play(plugIn, ramp, {100, 7}), ramp, delay);
    }

    std::shared_ptr<DelayingProcessor> processor = std::make_shared<DelayingProcessor>();
    PlugIn plugIn{processor};
};

} // namespace

TEST_F(BlockProcessingTest, delaysByExactlyTheReportedLatencyAtEveryBlockSizeBypassedOrNot)
{
    const Signal32 ramp = makeRamp(1, 12000);
    for (const std::vector<int>& blockSizes :
         {std::vector{64}, {1}, {512}, {513}, {10000}, {7, 1024, 1, 300}})
    {
        juce::FloatVectorOperations::disableDenormalisedNumberSupport(false);
        EXPECT_EQ(prepare(), 512);
        const Signal32 start = cut(ramp, 0, 6000);
        EXPECT_TRUE(isDelayed(play(plugIn, start, blockSizes), start, 512));
        EXPECT_FALSE(processor->wasBypassed);
        EXPECT_TRUE(processor->wasFlushing);
        EXPECT_FALSE(juce::FloatVectorOperations::areDenormalsDisabled());
        EXPECT_TRUE(areIdentical(play(plugIn, cut(ramp, 6000, 6000), blockSizes, true),
                                 cut(ramp, 6000 - 512, 6000)));
        EXPECT_TRUE(processor->wasBypassed);
    }
    processor->delay = 0;
    processor->additionalLatency = 30;
    EXPECT_EQ(prepare(), 30);
    EXPECT_TRUE(delaysBy(0)); // what is added is the processor's own affair
}

TEST_F(BlockProcessingTest, isSilentRatherThanPartlyFilledWhileTheProcessorFallsShort)
{
    processor->lump = 2048; // holds back more than it says
    prepare();
    EXPECT_EQ(testing_support::peakOf(play(plugIn, makeRamp(1, 500), {100})), 0.0F);
}

TEST_F(BlockProcessingTest, formatsOnlyOnceButResetsEveryTime)
{
    prepare();
    prepare();
    EXPECT_EQ(processor->numFormats, 1);
    EXPECT_EQ(processor->numResets, 2);
    prepare(Set::stereo());
    EXPECT_EQ(processor->numFormats, 2);
    play(plugIn, makeRamp(2, 1000), {64});
    prepare();
    EXPECT_TRUE(delaysBy(512)); // nothing of before is left
}

TEST_F(BlockProcessingTest, followsChangesOfTimingButReportsOnlyThoseOfTheAdditionalLatency)
{
    prepare();
    processor->delay = 100;
    processor->reset();
    EXPECT_TRUE(delaysBy(100));
    EXPECT_EQ(plugIn.getLatencySamples(), 512);
    processor->additionalLatency = 8;
    play(plugIn, makeRamp(1, 10), {10});
    EXPECT_EQ(plugIn.getLatencySamples(), 108);
    processor->delay = 0;
    prepare();
    processor->delayAfterNextQuestion = 512; // after the latency was read, before the block
    EXPECT_TRUE(delaysBy(512));
}

TEST(ChannelMapping, understandsTheHostsLoudspeakersOrFallsBack)
{
    using enum orvo::audio::SpeakerId;
    const auto mappingOf = [](const char* names, int numChannels)
    { return kalim::plugin::makeFormat(names, numChannels, 44100.0).channelMapping; };
    EXPECT_EQ(mappingOf("L R", 2), (std::vector{left, right}));
    EXPECT_EQ(mappingOf("l r Lfe", 3), (std::vector{left, right, lowFrequencyEffects}));
    EXPECT_EQ(mappingOf("L X", 2), (std::vector{left, undefined}));
    EXPECT_EQ(mappingOf("L R C", 2), (std::vector{left, right}));
    EXPECT_EQ(mappingOf("", 1), (std::vector{mono}));
    EXPECT_TRUE(mappingOf("", 0).empty());
}

TEST_F(BlockProcessingTest, takesEqualLayoutsOfUpToEightChannelsButTwoInOneHost)
{
    for (const Set& set : {Set::mono(), Set::stereo(), Set::create7point1()})
        EXPECT_TRUE(plugIn.isBusesLayoutSupported({{set}, {set}}));
    for (const Set& set : {Set::disabled(), Set::discreteChannels(9)})
        EXPECT_FALSE(plugIn.isBusesLayoutSupported({{set}, {set}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::mono()}, {Set::stereo()}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::stereo(), Set::stereo()}, {Set::stereo()}}));
    EXPECT_EQ(kalim::plugin::getChannelLimit("/opt/host/bin/host"), 8);
    EXPECT_EQ(kalim::plugin::getChannelLimit("C:\\Program Files\\EDIUS 11\\host.exe"), 2);
}
