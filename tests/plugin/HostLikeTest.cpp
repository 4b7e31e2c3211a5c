#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"
#include "tests/support/Heap.h"
#include "tests/support/Sanitizers.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <stop_token>
#include <thread>
#include <tuple>
#include <vector>

namespace
{

using namespace testing_support;
using ChannelSet = juce::AudioChannelSet;

/// Does what hosts and editors do. Who restores cannot change programs for a while after that.
std::jthread disturb(KalimAudioProcessor& plugIn, bool restores, int seed)
{
    return std::jthread(
        [&plugIn, restores, random = juce::Random(seed),
         saved = juce::MemoryBlock()](const std::stop_token& stop) mutable
        {
            constexpr std::array actions{&BasePlugInProcessor::addUndoState,
                                         &BasePlugInProcessor::undo,
                                         &BasePlugInProcessor::redo,
                                         &BasePlugInProcessor::copyToAlternate,
                                         &BasePlugInProcessor::clearSettings,
                                         &BasePlugInProcessor::switchToAlternateSettings};
            while (!stop.stop_requested())
            {
                // With what careless hosts send as well, which may be NaN.
                const int index = random.nextInt({-1, 8});
                const float value = 1.4F * random.nextFloat() - 0.2F;
                plugIn.setParameter(index, random.nextInt(500) == 0 ? std::nanf("") : value);
                plugIn.getParameterText(index);
                if (random.nextBool())
                    (plugIn.*actions.at(static_cast<std::size_t>(random.nextInt(6))))();
                else if (random.nextBool())
                    plugIn.getStateInformation(saved);
                else if (restores)
                    plugIn.setStateInformation(saved.getData(), static_cast<int>(saved.getSize()));
                else
                    plugIn.setCurrentProgram(random.nextInt(3));
                plugIn.setCurrentPresetName(plugIn.getCurrentPresetName().paddedLeft('A', 9));
                // Leaves the processor to the audio now and then, also on a single core.
                std::this_thread::sleep_for(std::chrono::microseconds(10));
            }
        });
}

} // namespace

TEST(InAHost, playsOnWhateverOtherThreadsDo)
{
    const std::array formats{std::tuple{48000.0, ChannelSet::stereo(), 64},
                             std::tuple{44100.0, ChannelSet::mono(), 480},
                             std::tuple{11025.0, ChannelSet::create5point1(), 32},
                             std::tuple{192000.0, ChannelSet::create7point1(), 16},
                             std::tuple{8000.0, ChannelSet::createLCR(), 100}};
    // A long run is asked for from outside.
    const int numCallbacks =
        juce::SystemStats::getEnvironmentVariable("KALIM_CALLBACKS", "20000").getIntValue();
    int done = 0;
    for (int session = 0; done < numCallbacks; ++session)
    {
        KalimAudioProcessor plugIn;
        juce::Random random(session);
        // Before the first format, as some hosts restore and automate.
        std::vector<std::jthread> others;
        for (int other = 0; other < 4; ++other)
            others.push_back(disturb(plugIn, other > 0 && session % 2 == 0, 4 * session + other));
        // Destroyed in the middle of the sound, without being told to release anything.
        for (const auto& [sampleRate, channels, largestBlock] : formats)
        {
            // The latency is not asked for here, since the others change it.
            ASSERT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
            plugIn.prepareToPlay(sampleRate, largestBlock);
            for (int call = 0; call < 400; ++call, ++done)
            {
                // Some hosts give empty blocks, and some larger ones than they declared.
                const int size = random.nextInt(16) == 0 ? 0 : 1 + random.nextInt(2 * largestBlock);
                const auto input =
                    makeSignal(channels.size(), size,
                               [&](int, int n) { return 0.2 * std::sin(0.01 * (100 * call + n)); });
                ASSERT_TRUE(isFinite(play(plugIn, input, {1 << 20}, call % 50 < 9)))
                    << session << ", " << call;
            }
        }
    }
}

TEST(InAHost, leavesTheHeapAloneFromTheFirstBlockOnWhateverTheMode)
{
    using orvo::audio::Kalimmer;
    if (testing_support::isSanitized) // one thread that the other builds look at
        GTEST_SKIP();
    for (const int numChannels : {1, 2, 8})
        for (const int blockSize : {1, 4, 64, 2048, 4096, 10000})
            for (const float mode : {0.0F, 1.0F})
            {
                KalimAudioProcessor plugIn;
                auto& engine = *plugIn.getBaseProcessor();
                engine.setParameterValue(Kalimmer::NumberOfHarmonics, 96.0F, false);
                engine.setParameterValue(Kalimmer::AggressiveMode, mode, false);
                prepare(plugIn, ChannelSet::canonicalChannelSet(numChannels), 48000.0, blockSize);
                juce::AudioBuffer<float> block(numChannels, blockSize);
                juce::MidiBuffer midi;
                juce::Random random(1);
                for (const float nextMode : {1.0F - mode, mode, mode})
                {
                    const HeapCount heap;
                    for (int n = 0; n < 12000; n += blockSize)
                    {
                        for (int i = 0; i < numChannels * blockSize; ++i)
                            block.setSample(i % numChannels, i / numChannels,
                                            random.nextFloat() - 0.5F);
                        if (n / blockSize % 3 == 2)
                            plugIn.processBlockBypassed(block, midi);
                        else
                            plugIn.processBlock(block, midi);
                    }
                    EXPECT_EQ(heap.getNumCalls(), 0) << numChannels << ", " << blockSize;
                    engine.setParameterValue(Kalimmer::AggressiveMode, nextMode, false);
                }
            }
}
