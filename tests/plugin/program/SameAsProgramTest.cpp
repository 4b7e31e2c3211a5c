#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <vector>

namespace
{

using namespace kalim;
using namespace testing_support;
using orvo::audio::Kalimmer;

/// Interleaved samples by channels, with silence after them.
Signal32 toSignal(const std::vector<float>& interleaved, int numChannels, int silence = 0)
{
    const int length = static_cast<int>(interleaved.size()) / numChannels;
    const auto sampleAt = [&](int channel, int n) {
        return n < length ? interleaved[static_cast<std::size_t>(n * numChannels + channel)] : 0.0F;
    };
    return makeSignal(numChannels, length + silence, sampleAt);
}

using SameAsProgram = test::ScratchFolder;

} // namespace

TEST_F(SameAsProgram, theSameRecordingComesOutBitForBitInEveryMode)
{
    const std::string recordingFile = test::exampleRecording();
    const std::vector<float> recording = test::readAll(recordingFile);
    const AudioFileReader reader(recordingFile);
    const std::array settings{std::tuple{Kalimmer::FundamentalFrequency, 60.0F, "--fundamental=60"},
                              std::tuple{Kalimmer::Adaptivity, 5.0F, "--adaptivity=5"},
                              std::tuple{Kalimmer::NumberOfHarmonics, 14.0F, "--harmonics=14"},
                              std::tuple{Kalimmer::AggressiveMode, 1.0F, "--aggressive"},
                              std::tuple{Kalimmer::OnlyOddHarmonics, 1.0F, "--odd"},
                              std::tuple{Kalimmer::ResidualMode, 1.0F, "--residual"}};
    // The first three in every mode.
    for (unsigned mode = 7; mode < 1U << settings.size(); mode += 8)
    {
        const std::string cleaned = path(std::to_string(mode) + ".wav").string();
        std::vector<std::string> arguments{"--format=wav:float", "--block-size=512", recordingFile,
                                           cleaned};
        KalimAudioProcessor plugIn;
        for (std::size_t bit = 0; bit < settings.size(); ++bit)
            if ((mode >> bit & 1U) != 0)
            {
                const auto& [id, value, option] = settings[bit];
                plugIn.getBaseProcessor()->setParameterValue(id, value, false);
                arguments.emplace_back(option);
            }
        const test::RunResult run = test::runKalim(arguments);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        const std::vector<float> ofProgram = test::readAll(cleaned);
        EXPECT_NE(ofProgram, recording);

        // As a host that takes the latency out, and plays silence until all has come.
        const auto channels = juce::AudioChannelSet::canonicalChannelSet(reader.getNumChannels());
        const int latency = prepare(plugIn, channels, reader.getSampleRate());
        EXPECT_EQ(latency, (mode & 8U) != 0 ? 0 : 2048);
        const Signal32 played =
            play(plugIn, toSignal(recording, reader.getNumChannels(), latency), {512});
        EXPECT_TRUE(areIdentical(cut(played, latency, static_cast<int>(reader.getNumFrames())),
                                 toSignal(ofProgram, reader.getNumChannels())))
            << ::testing::PrintToString(arguments);
    }
}
