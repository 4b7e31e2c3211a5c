#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/tools/kalim/RunningProgram.h"
#include "tests/tools/kalim/files/AudioFiles.h"
#include "tests/tools/kalim/files/ScratchFolder.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using kalim::program::AudioFileReader;
using orvo::audio::Kalimmer;

constexpr int blockSize = 512;

struct Mode
{
    bool aggressive;
    bool onlyOdd;
    bool residual;
};

/// As a host sets them.
void setUp(KalimAudioProcessor& plugIn, const Mode& mode)
{
    plugIn.setParameter(Kalimmer::FundamentalFrequency, 0.0436F); // 60.06 Hz
    plugIn.setParameter(Kalimmer::Adaptivity, 0.0625F);
    plugIn.setParameter(Kalimmer::NumberOfHarmonics, 14.0F / 96.0F);
    plugIn.setParameter(Kalimmer::AggressiveMode, mode.aggressive ? 1.0F : 0.0F);
    plugIn.setParameter(Kalimmer::OnlyOddHarmonics, mode.onlyOdd ? 1.0F : 0.0F);
    plugIn.setParameter(Kalimmer::ResidualMode, mode.residual ? 1.0F : 0.0F);
}

/// The plug-in's settings as a user of the program would write them.
std::vector<std::string> makeArguments(const KalimAudioProcessor& plugIn, const Mode& mode)
{
    const auto value = [&](int id)
    { return fmt::format("{:.9g}", plugIn.getBaseProcessor()->getParameterValue(id)); };
    std::vector<std::string> arguments{"--format",      "wav:float",
                                       "--block-size",  std::to_string(blockSize),
                                       "--fundamental", value(Kalimmer::FundamentalFrequency),
                                       "--adaptivity",  value(Kalimmer::Adaptivity),
                                       "--harmonics",   value(Kalimmer::NumberOfHarmonics)};
    if (mode.aggressive)
        arguments.emplace_back("--aggressive");
    if (mode.onlyOdd)
        arguments.emplace_back("--odd");
    if (mode.residual)
        arguments.emplace_back("--residual");
    return arguments;
}

bool haveSameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// As a host that takes the latency out: plays silence after the end for as long as something of
/// the recording is missing.
std::vector<float> play(KalimAudioProcessor& plugIn, const std::vector<float>& recording,
                        int numChannels, int sampleRate)
{
    const auto channels = juce::AudioChannelSet::canonicalChannelSet(numChannels);
    EXPECT_TRUE(plugIn.setBusesLayout({{channels}, {channels}}));
    plugIn.prepareToPlay(sampleRate, blockSize);
    const int length = static_cast<int>(recording.size()) / numChannels;
    const int latency = plugIn.getLatencySamples();
    std::vector<float> output;
    juce::MidiBuffer midi;
    for (int start = 0; start < length + latency;)
    {
        const int count = start < length ? std::min(blockSize, length - start) : blockSize;
        juce::AudioBuffer<float> buffer(numChannels, count);
        buffer.clear();
        for (int n = 0; n < count && start < length; ++n)
            for (int channel = 0; channel < numChannels; ++channel)
                buffer.setSample(
                    channel, n,
                    recording[static_cast<std::size_t>((start + n) * numChannels + channel)]);
        plugIn.processBlock(buffer, midi);
        for (int n = 0; n < count; ++n)
            for (int channel = 0; channel < numChannels; ++channel)
                output.push_back(buffer.getSample(channel, n));
        start += count;
    }
    output.erase(output.begin(), output.begin() + numChannels * latency);
    output.resize(recording.size());
    return output;
}

class SameAsProgram : public kalim::program::test::ScratchFolder
{
};

} // namespace

TEST_F(SameAsProgram, theSameRecordingComesOutBitForBitInEveryMode)
{
    using namespace kalim::program::test;
    const std::string recordingFile = exampleRecording();
    const std::vector<float> recording = readAll(recordingFile);
    const AudioFileReader reader(recordingFile);
    for (const bool aggressive : {false, true})
        for (const bool onlyOdd : {false, true})
            for (const bool residual : {false, true})
            {
                const Mode mode{aggressive, onlyOdd, residual};
                KalimAudioProcessor plugIn;
                setUp(plugIn, mode);
                std::vector<std::string> arguments = makeArguments(plugIn, mode);
                const std::string cleaned =
                    path(fmt::format("{}{}{}.wav", aggressive, onlyOdd, residual)).string();
                arguments.insert(arguments.end(), {recordingFile, cleaned});
                const RunResult run = runKalim(arguments);
                ASSERT_EQ(run.exitCode, 0) << run.errors;

                const std::vector<float> ofProgram = readAll(cleaned);
                EXPECT_NE(ofProgram, recording);
                EXPECT_TRUE(haveSameBits(
                    ofProgram, play(plugIn, recording, reader.channels(), reader.sampleRate())))
                    << "aggressive " << aggressive << ", odd " << onlyOdd << ", residual "
                    << residual;
            }
}
