#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

namespace
{

using namespace testing_support;
using orvo::audio::Kalimmer;
using Set = juce::AudioChannelSet;

constexpr double sampleRate = 48000.0;
constexpr int latency = 2048;

/// A part of the sound, in samples, with what it is played by.
struct Stretch
{
    int start;
    int end;
    bool isBypassed;
    bool isAggressive = false;
};

/// Switches the bypass at that many random places, and with it, inside the bypass, the mode, which
/// is back before its end.
std::vector<Stretch> toggleAtRandom(int length, int numToggles, juce::Random& random)
{
    std::vector<int> places{0, length};
    for (int toggle = 0; toggle < numToggles; ++toggle)
        places.push_back(random.nextInt(length));
    std::ranges::sort(places);
    std::vector<Stretch> stretches;
    for (std::size_t i = 0; i + 1 < places.size(); ++i)
    {
        const int third = (places[i + 1] - places[i]) / 3;
        const bool isBypassed = i % 2 == 1;
        const bool changesMode = isBypassed && random.nextBool();
        const int middle = places[i] + third;
        stretches.push_back({places[i], middle, isBypassed});
        stretches.push_back({middle, middle + third, isBypassed, changesMode});
        stretches.push_back({middle + third, places[i + 1], isBypassed});
    }
    return stretches;
}

Signal32 playStretches(KalimAudioProcessor& plugIn, const Signal32& input,
                       const std::vector<Stretch>& stretches, int blockSize)
{
    Signal32 output(input.getNumChannels(), input.getNumSamples());
    for (const Stretch& stretch : stretches)
    {
        const int count = stretch.end - stretch.start;
        plugIn.getBaseProcessor()->setParameterValue(Kalimmer::AggressiveMode,
                                                     stretch.isAggressive ? 1.0F : 0.0F, false);
        const Signal32 part =
            play(plugIn, cut(input, stretch.start, count), {blockSize}, stretch.isBypassed);
        for (int channel = 0; channel < input.getNumChannels(); ++channel)
            std::copy_n(part.getReadChannelPtr(channel), count,
                        output.getWriteChannelPtr(channel) + stretch.start);
    }
    return output;
}

void prepareWith(KalimAudioProcessor& plugIn, float numHarmonics, int blockSize)
{
    plugIn.getBaseProcessor()->setParameterValue(Kalimmer::NumberOfHarmonics, numHarmonics, false);
    ASSERT_EQ(prepare(plugIn, Set::stereo(), sampleRate, blockSize), latency);
}

/// Where each bypassed stretch differs from the input late by the latency; empty when nowhere does.
std::string findFaults(const Signal32& output, const Signal32& input,
                       const std::vector<Stretch>& stretches)
{
    std::string faults;
    for (const auto& [start, end, isBypassed, isAggressive] : stretches)
        for (int n = start; n < end; ++n)
            for (int channel = 0; channel < input.getNumChannels() && isBypassed; ++channel)
            {
                const float expected =
                    n < latency ? 0.0F : input.getReadChannelPtr(channel)[n - latency];
                if (output.getReadChannelPtr(channel)[n] == expected)
                    continue;
                faults += std::to_string(n) + " ";
                n = end;
            }
    return faults;
}

/// What the first 20 harmonics have together, in dB of full scale.
double levelOfLines(const Signal32& signal, double fundamental)
{
    double power = 0.0;
    const int count = signal.getNumSamples();
    for (int harmonic = 1; harmonic <= 20; ++harmonic)
    {
        std::complex<double> sum;
        for (int n = 0; n < count; ++n)
        {
            const double turns = fundamental * harmonic * n / sampleRate;
            const double window = 1.0 - std::cos(2.0 * std::numbers::pi * n / count);
            sum += static_cast<double>(signal.getReadChannelPtr(0)[n]) * window *
                   std::polar(2.0 / count, 2.0 * std::numbers::pi * turns);
        }
        power += std::norm(sum);
    }
    return 10.0 * std::log10(power);
}

} // namespace

TEST(Bypass, isTheInputLateByTheLatencyAndSkipsRepeatsOrRevivesNothing)
{
    constexpr int length = 150000;
    const Signal32 input = mix(makeNoise(-20.0, sampleRate, 4.0, 2),
                               makeHum({.numHarmonics = 20}, sampleRate, 4.0, 2));
    const Signal32 sound = cut(input, 0, length);
    juce::Random random(14);
    for (const int blockSize : {1, 64, 480, 512, 2048, 5000})
    {
        const auto stretches = toggleAtRandom(length, 50, random);
        KalimAudioProcessor idle; // removes nothing, so that nothing may be missing
        prepareWith(idle, 0.0F, blockSize);
        EXPECT_TRUE(isDelayed(playStretches(idle, sound, stretches, blockSize), sound, latency))
            << blockSize;
        KalimAudioProcessor plugIn;
        prepareWith(plugIn, 20.0F, blockSize);
        const Signal32 output = playStretches(plugIn, sound, stretches, blockSize);
        EXPECT_EQ(findFaults(output, sound, stretches), "") << blockSize;
        EXPECT_EQ(plugIn.getLatencySamples(), latency);
    }
}

TEST(Bypass, leavesTheHumAsLowHalfASecondAfterItsEndAsItWouldBeWithoutIt)
{
    constexpr double fundamental = 50.3;
    const Signal32 input =
        makeHum({.startFrequency = fundamental, .endFrequency = fundamental}, sampleRate, 5.0);
    for (const int bypassed : {1, 700, 2048, 48333})
    {
        constexpr int start = 96077;
        const int end = start + bypassed;
        const auto levelAfter = [&](const std::vector<Stretch>& stretches)
        {
            KalimAudioProcessor plugIn;
            plugIn.getBaseProcessor()->setParameterValue(Kalimmer::NumberOfHarmonics, 20.0F, false);
            EXPECT_EQ(prepare(plugIn, Set::mono(), sampleRate), latency);
            const Signal32 output = playStretches(plugIn, input, stretches, 512);
            constexpr int halfASecond = 24000;
            return levelOfLines(cut(output, end + halfASecond, halfASecond), fundamental);
        };
        const int length = input.getNumSamples();
        const double without = levelAfter({{0, length, false}});
        EXPECT_LT(without, -75.0); // -24 dB in the input
        // From one half second to the next it varies as much.
        EXPECT_LT(levelAfter({{0, start, false}, {start, end, true}, {end, length, false}}),
                  without + 3.0)
            << bypassed;
    }
}

/// The one part of a bypass where sound must be left out: the new mode is earlier than the old one.
TEST(Bypass, givesOutNothingOfBeforeItWhenTheModeChangesForGood)
{
    const Signal32 input = makeNoise(-20.0, sampleRate, 1.0, 2);
    for (const bool isAggressiveFirst : {false, true})
    {
        KalimAudioProcessor plugIn;
        prepareWith(plugIn, 0.0F, 512);
        const Signal32 output = playStretches(plugIn, input,
                                              {{0, 9000, false},
                                               {9000, 12000, false, isAggressiveFirst},
                                               {12000, 15000, true, isAggressiveFirst},
                                               {15000, 20000, true, !isAggressiveFirst},
                                               {20000, 30000, false, !isAggressiveFirst}},
                                              100);
        const auto isLate = [&](int start, int end, int delay) {
            return areIdentical(cut(output, start, end - start),
                                cut(input, start - delay, end - start));
        };
        // Inside the bypass only towards what the host was told.
        EXPECT_TRUE(isLate(12000, 15000, isAggressiveFirst ? 0 : latency));
        EXPECT_TRUE(isLate(15000, 20000, latency));
        EXPECT_TRUE(isLate(20000, 30000, isAggressiveFirst ? latency : 0));
    }
}
