#include "kalim/detect/LoudnessLibrary.h"
#include "kalim/detect/QualityMeter.h"
#include "tests/support/TestSignals.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace kalim::test
{
namespace
{

using namespace ::testing;
using namespace testing_support;
using program::Quality;
using program::QualityMeter;

constexpr double rate = 48000.0;

/// What is found when the samples come in pieces of an odd size.
Quality measure(const Signal32& sound, double sampleRate = rate, float humShare = 0.0F)
{
    const int channels = sound.getNumChannels();
    QualityMeter meter(sampleRate, channels);
    Signal32 hum = sound;
    for (int channel = 0; channel < channels; ++channel)
        for (int n = 0; n < sound.getNumSamples(); ++n)
            hum.getWriteChannelPtr(channel)[n] *= humShare;
    for (int start = 0; start < sound.getNumSamples(); start += 5003)
    {
        std::vector<const float*> pieces;
        std::vector<const float*> removed;
        for (int channel = 0; channel < channels; ++channel)
        {
            pieces.push_back(sound.getReadChannelPtr(channel) + start);
            removed.push_back(hum.getReadChannelPtr(channel) + start);
        }
        meter.add(pieces.data(), removed.data(), std::min(5003, sound.getNumSamples() - start));
    }
    return meter.finish();
}

/// A sine as integers of so many bits store it, limited to a level.
Signal32 makeStored(double frequency, double amplitude, int bits, double limit = 1.0)
{
    const double scale = std::ldexp(1.0, bits - 1);
    return makeSignal(1, static_cast<int>(4 * rate),
                      [=](int, int n)
                      {
                          const double phase = 2.0 * std::numbers::pi * frequency * n / rate;
                          const double value = amplitude * std::sin(phase);
                          return std::round(std::clamp(value, -limit, limit) * scale) / scale;
                      });
}

/// Ten seconds; what begins elsewhere than at 0 has a higher peak between its samples there.
Signal32 makeSine(int channels, double frequency, double amplitude, double sampleRate)
{
    return makeSignal(
        channels, static_cast<int>(10.0 * sampleRate),
        [=](int, int n)
        { return amplitude * std::sin(2.0 * std::numbers::pi * frequency * n / sampleRate); });
}

Signal32 makeSilence(int channels)
{
    return makeSignal(channels, 48000, [](int, int) { return 0.0; });
}

/// A tone in noise, of four seconds.
Signal32 makeSound(int channels = 1)
{
    return mix(makeTone(170.0, 0.3, rate, 4.0, channels), makeNoise(-40.0, rate, 4.0, channels));
}

void fill(Signal32& sound, int channel, int start, int count, float value)
{
    std::fill_n(sound.getWriteChannelPtr(channel) + start, count, value);
}

} // namespace

TEST(Quality, knowsLoudnessAndPeaksOfTones)
{
    const double amplitude = std::pow(10.0, -23.0 / 20.0);
    for (const double sampleRate : {44100.0, 48000.0, 96000.0})
    {
        const Quality stereo = measure(makeSine(2, 997.0, amplitude, sampleRate), sampleRate);
        EXPECT_NEAR(stereo.loudness.value(), -23.0, 0.1); // the standard's own tolerance
        EXPECT_NEAR(stereo.loudnessRange.value(), 0.0, 0.1);
        EXPECT_NEAR(stereo.truePeak.value(), -23.0, 0.1);
    }
    // One channel has half the power.
    EXPECT_NEAR(measure(makeSine(1, 997.0, amplitude, rate)).loudness.value(), -26.0, 0.1);
    // All samples lie 3 dB below the peaks between them; the standard allows 0.6 dB.
    const Signal32 between = makeTone(rate / 4.0, 0.5, rate, 2.0, 1, std::numbers::pi / 4.0);
    EXPECT_NEAR(measure(between).truePeak.value(), -6.02, 0.6);
    const Quality silent = measure(makeSilence(2));
    EXPECT_FALSE(silent.loudness || silent.truePeak || silent.removable);
    const Quality slow = measure(makeSine(1, 10.0, 0.5, 250.0), 250.0);
    EXPECT_FALSE(slow.loudness);
    EXPECT_NEAR(slow.truePeak.value(), -6.02, 0.1);
    EXPECT_FALSE(measure(makeTone(1.0, 0.5, 10.0, 10.0), 10.0).truePeak);
    // Channels beyond those of the standard have peaks.
    Signal32 many = makeSilence(70);
    fill(many, 69, 1000, 1, 0.5F);
    EXPECT_GT(measure(many).truePeak.value(), -6.1);
}

TEST(Quality, passesOverNoPeak)
{
    std::minstd_rand random;
    const auto number = [&random] { return static_cast<double>(random()) / 0x7fffffff; };
    for (int round = 0; round < 40; ++round)
    {
        // Noise whose level leaps up and down, so that peaks lie anywhere in pieces.
        double level = 0.0;
        const Signal32 sound = makeSignal(2, 30000,
                                          [&](int, int n)
                                          {
                                              if (n % 800 == 0)
                                                  level = std::pow(10.0, -1.5 * number());
                                              return level * (2.0 * number() - 1.0);
                                          });
        const auto whole = program::makeLoudnessState(2, rate, EBUR128_MODE_TRUE_PEAK);
        std::vector<float> interleaved(60000);
        const float* const channels[] = {sound.getReadChannelPtr(0), sound.getReadChannelPtr(1)};
        program::interleave(channels, 2, 30000, interleaved.data());
        program::addFrames(*whole, interleaved);
        std::array<double, 2> peaks{};
        for (const unsigned channel : {0U, 1U})
            ebur128_true_peak(whole.get(), channel, &peaks[channel]);
        EXPECT_NEAR(measure(sound).truePeak.value(),
                    20.0 * std::log10(std::max(peaks[0], peaks[1])), 1e-6);
    }
}

TEST(Quality, findsWhatWasClippedAtAnyLevel)
{
    for (const double limit : {1.0, 0.5})
        for (const int bits : {8, 16, 24})
        {
            const Quality clipped = measure(makeStored(100.0, 1.5 * limit, bits, limit));
            EXPECT_EQ(clipped.clipped.count, 800) << bits;
            // The sine is above two thirds for 0.268 of its period.
            EXPECT_NEAR(static_cast<double>(clipped.clipped.longest), 128.5, bits == 8 ? 3.0 : 1.0);
            EXPECT_NEAR(static_cast<double>(clipped.clipped.first), 55.7, bits == 8 ? 2.0 : 1.0);
            EXPECT_EQ(clipped.droppedOut.count, 0);
        }
    // A whole sine is not, be it as slow, as quiet and as coarse as it may.
    for (const int bits : {8, 16, 24})
        for (const double frequency : {3.0, 50.0, 997.0, 6000.0})
            for (const double amplitude : {0.999, 0.3, 0.02, 0.0015})
                EXPECT_EQ(measure(makeStored(frequency, amplitude, bits)).clipped.count, 0)
                    << bits << " " << frequency << " " << amplitude;
    // A later and louder sound is the ceiling; dither does not hide it.
    Signal32 sound = makeStored(100.0, 0.3, 16);
    std::minstd_rand random;
    for (int i = 0; i < 4; ++i)
        for (int n = 0; n < 20; ++n)
            sound.getWriteChannelPtr(0)[100000 + 1000 * i + n] =
                0.7F + static_cast<float>(random() % 3) * 0x1p-15F;
    EXPECT_EQ(measure(sound).clipped.count, 4);
    EXPECT_EQ(measure(sound).clipped.first, 100000);
    EXPECT_EQ(measure(sound).clipped.longest, 20);
}

TEST(Quality, findsDropoutsInsideSoundAndNoPauses)
{
    Signal32 sound = makeSound(2);
    fill(sound, 0, 0, 9000, 0.0F);
    fill(sound, 0, 180000, 12000, 0.0F);
    EXPECT_EQ(measure(sound).droppedOut.count, 0);
    fill(sound, 0, 50000, 48, 0.0F);
    fill(sound, 1, 60000, 4800, 0.01F);
    fill(sound, 1, 70000, 47, 0.0F); // a millisecond less a sample
    const Quality quality = measure(sound);
    EXPECT_EQ(quality.droppedOut.count, 2);
    EXPECT_EQ(quality.droppedOut.first, 50000);
    EXPECT_EQ(quality.droppedOut.longest, 4800);
    // A few samples between two of them are not enough to take them for one.
    fill(sound, 0, 50060, 100, 0.0F);
    EXPECT_EQ(measure(sound).droppedOut.count, 3);

    Signal32 pause = makeSound();
    for (int n = 0; n < 192000; ++n)
    {
        const int distance = std::abs(n - 96000);
        const float gain = static_cast<float>(std::clamp((distance - 20000) / 480.0, 0.0, 1.0));
        float& sample = pause.getWriteChannelPtr(0)[n];
        sample = std::round(sample * gain * 32768.0F) / 32768.0F;
    }
    EXPECT_EQ(measure(pause).droppedOut.count, 0);
    EXPECT_EQ(measure(makeStored(50.0, 0.003, 8)).droppedOut.count, 0);
}

TEST(Quality, comparesChannelsAndHumWithSound)
{
    Signal32 sound = makeSound(6);
    for (const int channel : {3, 5})
        std::copy_n(sound.getReadChannelPtr(1), sound.getNumSamples(),
                    sound.getWriteChannelPtr(channel));
    std::copy_n(sound.getReadChannelPtr(0), sound.getNumSamples() - 1, sound.getWriteChannelPtr(2));
    fill(sound, 4, 0, sound.getNumSamples(), 0x1p-15F);
    const Quality quality = measure(sound, rate, 0.1F);
    EXPECT_THAT(quality.silentChannels, ElementsAre(4));
    EXPECT_THAT(quality.equalChannels, ElementsAre(ElementsAre(1, 3, 5)));
    EXPECT_NEAR(quality.removable.value(), 20.0 * std::log10(0.1 / 0.9), 0.001);
    EXPECT_EQ(quality.getSeconds(), 4.0);
}

} // namespace kalim::test
