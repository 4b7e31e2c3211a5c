#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"
#include "tests/support/Heap.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <stop_token>
#include <thread>
#include <tuple>

namespace
{

using ChannelSet = juce::AudioChannelSet;

/// An editor that comes and goes, and shows what is being played while it is there.
void openEditor(KalimAudioProcessor& plugIn)
{
    struct Listener : BasePlugInProcessor::Listener
    {
        void parameterChanged(int index) override { EXPECT_TRUE(index >= -1 && index < 7); }
    };

    auto& engine = dynamic_cast<orvo::audio::Kalimmer&>(*plugIn.getBaseProcessor());
    Listener listener;
    plugIn.addListener(&listener);
    const BasePlugInProcessor::OpenEditor editor(plugIn);
    for (const auto& harmonic : engine.getDetectionStatus())
        EXPECT_TRUE(std::isfinite(harmonic.frequency));
    EXPECT_TRUE(testing_support::isFinite(engine.getInputMagnitudes()));
    EXPECT_GT(engine.getCurrentFundamental(), 0.0F);
    plugIn.removeListener(&listener);
}

/// Does what hosts and editors do, on a thread of its own until that is destroyed. Who restores
/// cannot change programs, which is ignored for a while after that.
std::jthread disturb(KalimAudioProcessor& plugIn, bool restores, int seed)
{
    return std::jthread(
        [&plugIn, restores, random = juce::Random(seed),
         saved = juce::MemoryBlock()](const std::stop_token& stop) mutable
        {
            const auto restore = [&]
            { plugIn.setStateInformation(saved.getData(), static_cast<int>(saved.getSize())); };
            // With what careless hosts send as well.
            const auto automate = [&]
            {
                const int index = random.nextInt({-1, 8});
                plugIn.setParameter(index, random.nextInt(500) == 0
                                               ? std::numeric_limits<float>::quiet_NaN()
                                               : 1.4F * random.nextFloat() - 0.2F);
                plugIn.getParameterText(index);
            };
            const std::array<std::function<void()>, 11> actions{
                [&] { plugIn.getStateInformation(saved); },
                [&] { restores ? restore() : plugIn.setCurrentProgram(random.nextInt(3)); },
                [&] { plugIn.getProgramName(plugIn.getCurrentProgram()); },
                [&] { plugIn.addUndoState(); },
                [&] { plugIn.undo(); },
                [&] { plugIn.redo(); },
                [&] { plugIn.copyToAlternate(); },
                [&] { plugIn.switchToAlternateSettings(); },
                [&] { plugIn.clearSettings(); },
                [&]
                { plugIn.setCurrentPresetName(plugIn.getCurrentPresetName().paddedLeft('A', 9)); },
                [&] { openEditor(plugIn); }};
            while (!stop.stop_requested())
            {
                automate();
                actions[static_cast<std::size_t>(
                    random.nextInt(static_cast<int>(actions.size())))]();
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
                             std::tuple{96000.0, ChannelSet::stereo(), 17},
                             std::tuple{192000.0, ChannelSet::create7point1(), 16},
                             std::tuple{8000.0, ChannelSet::createLCR(), 100}};
    // A long run is asked for from outside.
    const int numCallbacks =
        juce::SystemStats::getEnvironmentVariable("KALIM_CALLBACKS", "20000").getIntValue();
    ASSERT_GT(numCallbacks, 0);
    int done = 0;
    for (int session = 0; done < numCallbacks; ++session)
    {
        KalimAudioProcessor plugIn;
        juce::Random random(session);
        // Before the first format, as some hosts restore and automate.
        const std::array<std::jthread, 4> others{
            disturb(plugIn, session % 2 == 0, session), disturb(plugIn, session % 2 == 0, -session),
            disturb(plugIn, session % 2 == 0, session + 1), disturb(plugIn, false, session + 2)};
        // Destroyed in the middle of the sound, without being told to release anything.
        for (const auto& [sampleRate, channels, largestBlock] : formats)
        {
            EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
            plugIn.prepareToPlay(sampleRate, largestBlock);
            for (int call = 0; call < 400; ++call, ++done)
            {
                // Some hosts give empty blocks, and some larger ones than they declared.
                const std::array sizes{0, largestBlock, 1 + random.nextInt(2 * largestBlock)};
                const auto choice = static_cast<std::size_t>(random.nextInt(16));
                const int size =
                    choice < sizes.size() ? sizes[choice] : 1 + random.nextInt(largestBlock);
                const auto input = testing_support::makeSignal(
                    channels.size(), size,
                    [&](int, int n)
                    { return 0.2 * std::sin(0.01 * (100 * call + n)) + 0.1 * random.nextFloat(); });
                const auto output = testing_support::play(plugIn, input, {1 << 20}, call % 50 < 9);
                ASSERT_TRUE(testing_support::isFinite(output))
                    << "session " << session << ", call " << call;
            }
        }
    }
}

TEST(InAHost, leavesTheHeapAloneFromTheFirstBlockOnWhateverTheMode)
{
    using orvo::audio::Kalimmer;
    for (const int numChannels : {1, 2, 8})
        for (const int blockSize : {1, 4, 64, 2048, 4096, 10000})
            for (const float mode : {0.0F, 1.0F})
            {
                KalimAudioProcessor plugIn;
                auto& engine = *plugIn.getBaseProcessor();
                const auto channels = ChannelSet::canonicalChannelSet(numChannels);
                EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
                engine.setParameterValue(Kalimmer::NumberOfHarmonics, 96.0F, false);
                engine.setParameterValue(Kalimmer::AggressiveMode, mode, false);
                plugIn.prepareToPlay(48000.0, blockSize);
                juce::Random random(1);
                juce::AudioBuffer<float> noise(numChannels, blockSize);
                for (int n = 0; n < numChannels * blockSize; ++n)
                    noise.setSample(n % numChannels, n / numChannels, random.nextFloat() - 0.5F);
                juce::AudioBuffer<float> block(numChannels, blockSize);
                juce::MidiBuffer midi;
                for (const float nextMode : {1.0F - mode, mode, mode})
                {
                    const testing_support::HeapCount heap;
                    for (int n = 0; n < 12000; n += blockSize)
                    {
                        block.makeCopyOf(noise, true);
                        plugIn.processBlock(block, midi);
                    }
                    EXPECT_EQ(heap.getNumCalls(), 0) << numChannels << ", " << blockSize;
                    engine.setParameterValue(Kalimmer::AggressiveMode, nextMode, false);
                }
            }
}
