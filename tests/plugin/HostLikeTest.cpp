#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
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

using orvo::audio::Kalimmer;
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

/// The audio side of a host: hum and noise in, in blocks of any size.
class Player
{
public:
    Player(KalimAudioProcessor& played, int seed)
        : plugIn(played)
        , random(seed)
    {
    }

    /// With the audio stopped, as hosts do it.
    void prepare(double sampleRate, const ChannelSet& channels, int largestBlock)
    {
        EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
        plugIn.setRateAndBufferSizeDetails(sampleRate, largestBlock);
        plugIn.prepareToPlay(sampleRate, largestBlock);
        numChannels = channels.size();
        maximum = largestBlock;
        phaseStep = 2.0 * std::numbers::pi * 50.3 / sampleRate;
    }

    /// Some hosts give empty blocks, and some larger ones than they declared.
    int chooseBlockSize()
    {
        const std::array rare{0, maximum, 1 + random.nextInt(2 * maximum)};
        const auto choice = static_cast<std::size_t>(random.nextInt(16));
        return choice < rare.size() ? rare[choice] : 1 + random.nextInt(maximum);
    }

    Signal32 play(int numSamples)
    {
        Signal32 input(numChannels, numSamples);
        for (int n = 0; n < numSamples; ++n, phase += phaseStep)
            for (int channel = 0; channel < numChannels; ++channel)
                input.getWriteChannelPtr(channel)[n] =
                    static_cast<float>(0.2 * std::sin(phase + channel)) +
                    0.1F * (random.nextFloat() - 0.5F);
        if (random.nextInt(50) == 0)
            isBypassed = !isBypassed;
        return testing_support::play(plugIn, input, {numSamples}, isBypassed);
    }

private:
    KalimAudioProcessor& plugIn;
    juce::Random random;
    int numChannels = 2;
    int maximum = 512;
    double phase = 0.0;
    double phaseStep = 0.0;
    bool isBypassed = false;
};

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
        const int index = random.nextInt({-1, plugIn.getNumParameters() + 1});
        const bool isPublic = index >= 0 && index < plugIn.getNumParameters();
        plugIn.setParameter(index, random.nextInt(500) == 0
                                       ? std::numeric_limits<float>::quiet_NaN()
                                       : 1.4F * random.nextFloat() - 0.2F);
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
    struct Listener : BasePlugInProcessor::Listener, orvo::audio::BaseAudioProcessor::Listener
    {
        void parameterChanged(int index) override { EXPECT_TRUE(index >= -1 && index < 7); }

        void parameterChanged(int index, float) override { EXPECT_TRUE(index >= 0 && index < 7); }

        void stateLoaded() override {}

        void formatChanged(const orvo::audio::AudioFormat&,
                           const orvo::audio::AudioFormat&) override
        {
        }
    };

    return [&plugIn, count = 0]() mutable
    {
        auto& engine = dynamic_cast<Kalimmer&>(*plugIn.getBaseProcessor());
        const auto listener = std::make_unique<Listener>();
        plugIn.addListener(listener.get());
        engine.addListener(listener.get());
        {
            // Every other time, since the engine's listeners are only told without an editor.
            const auto editor = ++count % 2 == 0
                                    ? std::make_unique<BasePlugInProcessor::OpenEditor>(plugIn)
                                    : nullptr;
            for (const auto& harmonic : engine.getDetectionStatus())
                EXPECT_TRUE(std::isfinite(harmonic.frequency));
            const orvo::audio::Signal32 magnitudes = engine.getInputMagnitudes();
            for (int bin = 0; bin < magnitudes.getNumSamples(); ++bin)
                EXPECT_GE(magnitudes.getReadChannelPtr(0)[bin], 0.0F);
            EXPECT_GT(engine.getCurrentFundamental(), 0.0F);
        }
        engine.removeListener(listener.get());
        plugIn.removeListener(listener.get());
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
        Player player(plugIn, session);
        // Before the first format, as some hosts restore and automate.
        const auto automation = repeat(automate(plugIn, session));
        const auto settings = repeat(manageSettings(plugIn, session % 2 == 0, session));
        const auto others = repeat(manageSettings(plugIn, session % 2 == 0, -session));
        const auto editor = repeat(watch(plugIn));
        for (const auto& [sampleRate, channels, largestBlock] : formats)
        {
            player.prepare(sampleRate, channels, largestBlock);
            for (int call = 0; call < callbacksPerFormat && done < end; ++call, ++done)
            {
                juce::FloatVectorOperations::disableDenormalisedNumberSupport(call % 2 == 0);
                const auto control = getFloatingPointControl();
                const Signal32 output = player.play(player.chooseBlockSize());
                ASSERT_EQ(getFloatingPointControl(), control);
                ASSERT_TRUE(testing_support::isFinite(output))
                    << "session " << session << ", call " << call;
            }
        }
    }
    juce::FloatVectorOperations::disableDenormalisedNumberSupport(false);
}

TEST(InAHost, rendersOfflineAfterPlayingExactlyWhatANewInstancePlays)
{
    for (const bool aggressive : {false, true})
    {
        KalimAudioProcessor used;
        KalimAudioProcessor fresh;
        for (KalimAudioProcessor* plugIn : {&used, &fresh})
        {
            plugIn->setParameter(Kalimmer::NumberOfHarmonics, 20.0F / 96.0F);
            plugIn->setParameter(Kalimmer::AggressiveMode, aggressive ? 1.0F : 0.0F);
        }
        Player before(used, 1);
        before.prepare(96000.0, ChannelSet::create5point1(), 300);
        for (int call = 0; call < 200; ++call)
            before.play(before.chooseBlockSize());
        used.setNonRealtime(true);

        Player offline(used, 2);
        Player live(fresh, 2);
        offline.prepare(48000.0, ChannelSet::stereo(), 700);
        live.prepare(48000.0, ChannelSet::stereo(), 700);
        ASSERT_EQ(used.getLatencySamples(), fresh.getLatencySamples());
        for (int call = 0; call < 200; ++call)
        {
            const int numSamples = live.chooseBlockSize();
            ASSERT_EQ(offline.chooseBlockSize(), numSamples);
            ASSERT_TRUE(
                testing_support::areIdentical(offline.play(numSamples), live.play(numSamples)))
                << "call " << call;
        }
    }
}
