#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/support/TestSignals.h"
#include "tools/kalim/StreamRemover.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

namespace
{

using kalim::program::HumSettings;
using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

constexpr int blockSize = 512;

HumSettings makeSettings(bool aggressive, bool onlyOdd, bool residual)
{
    HumSettings settings;
    settings.set(Kalimmer::FundamentalFrequency, 50.5F);
    settings.set(Kalimmer::NumberOfHarmonics, 20.0F);
    settings.set(Kalimmer::AggressiveMode, aggressive ? 1.0F : 0.0F);
    settings.set(Kalimmer::OnlyOddHarmonics, onlyOdd ? 1.0F : 0.0F);
    settings.set(Kalimmer::ResidualMode, residual ? 1.0F : 0.0F);
    return settings;
}

std::vector<float> interleave(const Signal32& signal)
{
    std::vector<float> samples;
    for (int n = 0; n < signal.getNumSamples(); ++n)
        for (int channel = 0; channel < signal.getNumChannels(); ++channel)
            samples.push_back(signal.getReadChannelPtr(channel)[n]);
    return samples;
}

bool haveSameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

std::vector<float> runProgram(const HumSettings& settings, const Signal32& recording,
                              int sampleRate)
{
    std::vector<float> output;
    const auto collect = [&](std::span<const float> samples)
    { output.insert(output.end(), samples.begin(), samples.end()); };
    kalim::program::StreamRemover remover(settings, recording.getNumChannels(), sampleRate,
                                          blockSize, [](const Kalimmer&, std::int64_t) {});
    remover.process(interleave(recording), collect);
    remover.finish(collect);
    return output;
}

/// As a host that takes the latency out: plays silence after the end for as long as something of
/// the recording is missing.
std::vector<float> runPlugIn(const HumSettings& settings, const Signal32& recording, int sampleRate)
{
    KalimAudioProcessor plugIn;
    settings.applyTo(dynamic_cast<Kalimmer&>(*plugIn.getBaseProcessor()));
    plugIn.prepareToPlay(sampleRate, blockSize);
    const int length = recording.getNumSamples();
    const int latency = plugIn.getLatencySamples();
    std::vector<float> output;
    juce::MidiBuffer midi;
    for (int start = 0; start < length + latency;)
    {
        const int count = start < length ? std::min(blockSize, length - start) : blockSize;
        juce::AudioBuffer<float> buffer(2, count);
        buffer.clear();
        for (int channel = 0; channel < 2 && start < length; ++channel)
            buffer.copyFrom(channel, 0, recording.getReadChannelPtr(channel) + start, count);
        plugIn.processBlock(buffer, midi);
        for (int n = 0; n < count; ++n)
            for (int channel = 0; channel < 2; ++channel)
                output.push_back(buffer.getSample(channel, n));
        start += count;
    }
    output.erase(output.begin(), output.begin() + 2 * latency);
    output.resize(2 * static_cast<std::size_t>(length));
    return output;
}

} // namespace

TEST(PlugIn, givesWhatTheProgramGivesBitForBitInEveryMode)
{
    using namespace testing_support;
    for (const int sampleRate : {44100, 96000})
    {
        const double seconds = 2.0001; // the last block is not full
        const Signal32 hum =
            makeHum({.startFrequency = 50.0, .endFrequency = 50.4}, sampleRate, seconds, 2);
        const Signal32 recording = mix(hum, makeNoise(-40.0, sampleRate, seconds, 2));
        for (const bool aggressive : {false, true})
            for (const bool onlyOdd : {false, true})
                for (const bool residual : {false, true})
                {
                    const HumSettings settings = makeSettings(aggressive, onlyOdd, residual);
                    const auto program = runProgram(settings, recording, sampleRate);
                    const auto plugIn = runPlugIn(settings, recording, sampleRate);
                    EXPECT_NE(program, interleave(recording));
                    EXPECT_TRUE(haveSameBits(program, plugIn))
                        << sampleRate << " Hz, aggressive " << aggressive << ", odd " << onlyOdd
                        << ", residual " << residual;
                }
    }
}
