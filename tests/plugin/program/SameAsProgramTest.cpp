#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using testing_support::areIdentical;
using testing_support::cut;
using testing_support::Signal32;

/// Interleaved samples by channels, with silence after them.
Signal32 toSignal(const std::vector<float>& interleaved, int numChannels, int silence)
{
    const int length = static_cast<int>(interleaved.size()) / numChannels;
    Signal32 signal(numChannels, length + silence, 0.0F);
    for (int n = 0; n < length; ++n)
        for (int channel = 0; channel < numChannels; ++channel)
            signal.getWriteChannelPtr(channel)[n] =
                interleaved[static_cast<std::size_t>(n * numChannels + channel)];
    return signal;
}

using SameAsProgram = kalim::test::ScratchFolder;

} // namespace

TEST_F(SameAsProgram, theSameRecordingComesOutBitForBitInEveryMode)
{
    using namespace kalim;
    const std::string recordingFile = test::exampleRecording();
    const std::vector<float> recording = test::readAll(recordingFile);
    const AudioFileReader reader(recordingFile);
    const std::array switches{std::pair{Kalimmer::AggressiveMode, "--aggressive"},
                              std::pair{Kalimmer::OnlyOddHarmonics, "--odd"},
                              std::pair{Kalimmer::ResidualMode, "--residual"}};
    for (unsigned mode = 0; mode < 1U << switches.size(); ++mode)
    {
        const std::string cleaned = path(std::to_string(mode) + ".wav").string();
        std::vector<std::string> arguments{
            "--format=wav:float", "--block-size=512", "--adaptivity=5", "--harmonics=14",
            "--fundamental=60",   recordingFile,      cleaned};
        KalimAudioProcessor plugIn;
        const auto set = [&](int id, float value)
        { plugIn.getBaseProcessor()->setParameterValue(id, value, false); };
        set(Kalimmer::FundamentalFrequency, 60.0F);
        set(Kalimmer::Adaptivity, 5.0F);
        set(Kalimmer::NumberOfHarmonics, 14.0F);
        for (std::size_t bit = 0; bit < switches.size(); ++bit)
            if ((mode >> bit & 1U) != 0)
            {
                set(switches[bit].first, 1.0F);
                arguments.emplace_back(switches[bit].second);
            }
        const test::RunResult run = test::runKalim(arguments);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        const std::vector<float> ofProgram = test::readAll(cleaned);
        EXPECT_NE(ofProgram, recording);

        // As a host that takes the latency out, and plays silence until all has come.
        const auto channels = juce::AudioChannelSet::canonicalChannelSet(reader.getNumChannels());
        EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
        plugIn.prepareToPlay(reader.getSampleRate(), 512);
        const int latency = plugIn.getLatencySamples();
        EXPECT_EQ(latency, (mode & 1U) != 0 ? 0 : 2048);
        const Signal32 played =
            testing_support::play(plugIn, toSignal(recording, reader.getNumChannels(), latency), {512});
        EXPECT_TRUE(areIdentical(cut(played, latency, static_cast<int>(reader.getNumFrames())),
                                 toSignal(ofProgram, reader.getNumChannels(), 0)))
            << ::testing::PrintToString(arguments);
    }
}
