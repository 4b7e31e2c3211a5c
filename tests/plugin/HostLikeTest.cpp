#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <stop_token>
#include <thread>
#include <tuple>

#if defined(__SSE__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

namespace
{

using testing_support::Signal32;
using ChannelSet = juce::AudioChannelSet;

/// The audio thread's rounding and flushing, as the host set it; flags of past events are left out.
auto getFloatingPointControl()
{
#if defined(__SSE__)
    return _mm_getcsr() & ~0x3FU;
#else
    return std::fegetround();
#endif
}

/// Some hosts give empty blocks, and some larger ones than they declared.
int chooseBlockSize(juce::Random& random, int maximum)
{
    const std::array rare{0, maximum, 1 + random.nextInt(2 * maximum)};
    const auto choice = static_cast<std::size_t>(random.nextInt(16));
    return choice < rare.size() ? rare[choice] : 1 + random.nextInt(maximum);
}

/// Does something again and again on a thread of its own, until that is destroyed.
template <typename Action>
std::jthread repeat(Action action)
{
    return std::jthread(
        [action](const std::stop_token& stop) mutable
        {
            while (!stop.stop_requested())
            {
                action();
                // Leaves the processor to the audio now and then, also on a single core.
                std::this_thread::sleep_for(std::chrono::microseconds(10));
            }
        });
}

/// Automation, with what careless hosts send as well.
auto automate(KalimAudioProcessor& plugIn, int seed)
{
    return [&plugIn, random = juce::Random(seed)]() mutable
    {
        const int index = random.nextInt({-1, 8});
        plugIn.setParameter(index, random.nextInt(500) == 0
                                       ? std::numeric_limits<float>::quiet_NaN()
                                       : 1.4F * random.nextFloat() - 0.2F);
        const bool isPublic = index >= 0 && index < 7;
        EXPECT_EQ(plugIn.getParameter(index) == -1.0F, !isPublic);
        EXPECT_EQ(plugIn.getParameterText(index).isNotEmpty(), isPublic);
    };
}

/// What hosts and editors do with whole settings. Who restores cannot change programs, which is
/// ignored for a while after that.
auto manageSettings(KalimAudioProcessor& plugIn, bool restores, int seed)
{
    return [&plugIn, restores, random = juce::Random(seed), saved = juce::MemoryBlock()]() mutable
    {
        const auto restore = [&]
        { plugIn.setStateInformation(saved.getData(), static_cast<int>(saved.getSize())); };
        const auto rename = [&]
        { plugIn.setCurrentPresetName(plugIn.getCurrentPresetName() == "A" ? "Other" : "A"); };
        const std::array<std::function<void()>, 10> actions{
            [&] { plugIn.getStateInformation(saved); },
            [&] { restores ? restore() : plugIn.setCurrentProgram(random.nextInt(3)); },
            [&] { plugIn.getProgramName(plugIn.getCurrentProgram()); },
            [&] { plugIn.addUndoState(); },
            [&] { plugIn.undo(); },
            [&] { plugIn.redo(); },
            [&] { plugIn.copyToAlternate(); },
            [&] { plugIn.switchToAlternateSettings(); },
            [&] { plugIn.clearSettings(); },
            rename};
        actions[static_cast<std::size_t>(random.nextInt(static_cast<int>(actions.size())))]();
    };
}

/// An editor that comes and goes, and shows what is being played while it is there.
auto watch(KalimAudioProcessor& plugIn)
{
    struct Listener : BasePlugInProcessor::Listener
    {
        void parameterChanged(int index) override { EXPECT_TRUE(index >= -1 && index < 7); }
    };

    return [&plugIn]
    {
        auto& engine = dynamic_cast<orvo::audio::Kalimmer&>(*plugIn.getBaseProcessor());
        Listener listener;
        plugIn.addListener(&listener);
        const BasePlugInProcessor::OpenEditor editor(plugIn);
        for (const auto& harmonic : engine.getDetectionStatus())
            EXPECT_TRUE(std::isfinite(harmonic.frequency));
        EXPECT_TRUE(testing_support::isFinite(engine.getInputMagnitudes()));
        EXPECT_GT(engine.getCurrentFundamental(), 0.0F);
        plugIn.removeListener(&listener);
    };
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
    constexpr int callbacksPerFormat = 400;
    // A long run is asked for from outside.
    const int numCallbacks =
        juce::SystemStats::getEnvironmentVariable("KALIM_CALLBACKS", "20000").getIntValue();
    ASSERT_GT(numCallbacks, 0);
    int done = 0;
    for (int session = 0; done < numCallbacks; ++session)
    {
        // Destroyed in the middle of the sound, without being told to release anything.
        const int end = std::min(done + static_cast<int>(formats.size()) * callbacksPerFormat -
                                     137 * (session % 10),
                                 numCallbacks);
        KalimAudioProcessor plugIn;
        juce::Random random(session);
        // Before the first format, as some hosts restore and automate.
        const auto automation = repeat(automate(plugIn, session));
        const auto settings = repeat(manageSettings(plugIn, session % 2 == 0, session));
        const auto others = repeat(manageSettings(plugIn, session % 2 == 0, -session));
        const auto editor = repeat(watch(plugIn));
        for (const auto& [sampleRate, channels, largestBlock] : formats)
        {
            EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
            plugIn.prepareToPlay(sampleRate, largestBlock);
            for (int call = 0; call < callbacksPerFormat && done < end; ++call, ++done)
            {
                const Signal32 input = testing_support::makeSignal(
                    channels.size(), chooseBlockSize(random, largestBlock),
                    [&](int, int n)
                    { return 0.2 * std::sin(0.01 * (100 * call + n)) + 0.1 * random.nextFloat(); });
                juce::FloatVectorOperations::disableDenormalisedNumberSupport(call % 2 == 0);
                const auto control = getFloatingPointControl();
                const Signal32 output =
                    testing_support::play(plugIn, input, {1 << 20}, call % 100 < 20);
                ASSERT_EQ(getFloatingPointControl(), control);
                ASSERT_TRUE(testing_support::isFinite(output))
                    << "session " << session << ", call " << call;
            }
        }
    }
    juce::FloatVectorOperations::disableDenormalisedNumberSupport(false);
}
