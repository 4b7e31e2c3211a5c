#include "tests/support/TestSignals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

namespace testing_support
{
namespace
{

constexpr double fullTurn = 2.0 * std::numbers::pi;

double amplitudeOf(double levelDb)
{
    return std::pow(10.0, levelDb / 20.0);
}

int lengthOf(double sampleRate, double seconds)
{
    return static_cast<int>(std::lround(sampleRate * seconds));
}

/// A resonance of the vocal tract, as a two-pole filter.
class Formant
{
public:
    void tune(double frequency, double bandwidth, double sampleRate)
    {
        const double radius = std::exp(-std::numbers::pi * bandwidth / sampleRate);
        a1 = -2.0 * radius * std::cos(fullTurn * frequency / sampleRate);
        a2 = radius * radius;
        gain = 1.0 + a1 + a2;
    }

    double process(double x)
    {
        const double y = gain * x - a1 * y1 - a2 * y2;
        y2 = y1;
        y1 = y;
        return y;
    }

private:
    double a1 = 0.0, a2 = 0.0, gain = 1.0, y1 = 0.0, y2 = 0.0;
};

/// Frequencies of three formants of some vowels, in Hz (G. E. Peterson and H. L. Barney, 1952).
constexpr std::array<std::array<double, 3>, 5> vowels{{{730.0, 1090.0, 2440.0},
                                                       {270.0, 2290.0, 3010.0},
                                                       {300.0, 870.0, 2240.0},
                                                       {530.0, 1840.0, 2480.0},
                                                       {570.0, 840.0, 2410.0}}};

} // namespace

Signal32 makeHum(const Hum& hum, double sampleRate, double seconds, int numChannels)
{
    const int length = lengthOf(sampleRate, seconds);
    Signal32 result(numChannels, length);
    for (int channel = 0; channel < numChannels; ++channel)
    {
        float* const samples = result.getWriteChannelPtr(channel);
        double turns = 0.0;
        for (int n = 0; n < length; ++n)
        {
            double sum = 0.0;
            for (int h = 1; h <= hum.numHarmonics; ++h)
                sum += std::cos(h * fullTurn * turns + 0.7 * h * h + channel) / h;
            samples[n] = static_cast<float>(amplitudeOf(hum.levelDb) * sum);
            const double share = static_cast<double>(n) / length;
            turns +=
                (hum.startFrequency + share * (hum.endFrequency - hum.startFrequency)) / sampleRate;
        }
    }
    return result;
}

Signal32 makeTone(double frequency, double amplitude, double sampleRate, double seconds,
                  int numChannels)
{
    Signal32 result(numChannels, lengthOf(sampleRate, seconds));
    for (int channel = 0; channel < numChannels; ++channel)
    {
        float* const samples = result.getWriteChannelPtr(channel);
        for (int n = 0; n < result.getNumSamples(); ++n)
            samples[n] =
                static_cast<float>(amplitude * std::cos(fullTurn * frequency * n / sampleRate));
    }
    return result;
}

Signal32 makeNoise(double levelDb, double sampleRate, double seconds, int numChannels)
{
    Signal32 result(numChannels, lengthOf(sampleRate, seconds));
    std::mt19937 random(12345); // its sequence is the same everywhere, unlike the distributions
    const double scale = amplitudeOf(levelDb) * std::sqrt(12.0) / 4294967296.0;
    for (int channel = 0; channel < numChannels; ++channel)
    {
        float* const samples = result.getWriteChannelPtr(channel);
        for (int n = 0; n < result.getNumSamples(); ++n)
            samples[n] = static_cast<float>(scale * (static_cast<double>(random()) - 2147483648.0));
    }
    return result;
}

Signal32 makeVoice(double levelDb, double sampleRate, double seconds)
{
    const int length = lengthOf(sampleRate, seconds);
    const Signal32 hiss = makeNoise(0.0, sampleRate, seconds);
    Signal32 result(1, length);
    float* const samples = result.getWriteChannelPtr(0);
    std::array<Formant, 3> tract;
    double turns = 0.0;
    double energy = 0.0;
    for (int n = 0; n < length; ++n)
    {
        const double time = n / sampleRate;
        const double inSyllable = std::fmod(time, 0.28) / 0.28;
        const auto syllable = static_cast<std::size_t>(time / 0.28);
        if (n % 64 == 0)
            for (std::size_t i = 0; i < tract.size(); ++i)
                tract[i].tune(vowels[syllable % vowels.size()][i],
                              60.0 + 40.0 * static_cast<double>(i), sampleRate);
        const bool isPause = syllable % 6 == 5;
        const double pitch = 125.0 + 25.0 * std::sin(1.9 * time) + 12.0 * std::sin(7.3 * time);
        turns += pitch / sampleRate;
        const double pulse = std::fmod(turns, 1.0) < pitch / sampleRate ? 1.0 : 0.0;
        double voiced = isPause ? 0.0 : 60.0 * pulse * std::sin(std::numbers::pi * inSyllable);
        for (Formant& formant : tract)
            voiced = formant.process(voiced);
        const bool isConsonant = !isPause && inSyllable < 0.15;
        const double hissed =
            isConsonant ? 0.004 * static_cast<double>(hiss.getReadChannelPtr(0)[n]) : 0.0;
        samples[n] = static_cast<float>(voiced + hissed);
        energy += static_cast<double>(samples[n]) * static_cast<double>(samples[n]);
    }
    const double scale = amplitudeOf(levelDb) / std::sqrt(energy / length);
    orvo::vo::constantMultiply(samples, static_cast<float>(scale), samples, length);
    return result;
}

Signal32 mix(const Signal32& a, const Signal32& b)
{
    Signal32 sum = a;
    for (int channel = 0; channel < sum.getNumChannels(); ++channel)
    {
        float* const samples = sum.getWriteChannelPtr(channel);
        orvo::vo::add(samples, b.getReadChannelPtr(channel), samples, sum.getNumSamples());
    }
    return sum;
}

Signal32 cut(const Signal32& signal, int start, int count)
{
    Signal32 part(signal.getNumChannels(), count);
    for (int channel = 0; channel < part.getNumChannels(); ++channel)
        orvo::vo::copy(signal.getReadChannelPtr(channel) + start, part.getWriteChannelPtr(channel),
                       count);
    return part;
}

Signal32 difference(const Signal32& a, const Signal32& b)
{
    Signal32 result(a.getNumChannels(), std::min(a.getNumSamples(), b.getNumSamples()));
    for (int channel = 0; channel < result.getNumChannels(); ++channel)
        orvo::vo::subtract(b.getReadChannelPtr(channel), a.getReadChannelPtr(channel),
                           result.getWriteChannelPtr(channel), result.getNumSamples());
    return result;
}

float peakOf(const Signal32& signal)
{
    float peak = 0.0F;
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        for (int n = 0; n < signal.getNumSamples(); ++n)
            peak = std::max(peak, std::fabs(signal.getReadChannelPtr(channel)[n]));
    return peak;
}

bool areIdentical(const Signal32& a, const Signal32& b)
{
    if (a.getNumChannels() != b.getNumChannels() || a.getNumSamples() != b.getNumSamples())
        return false;
    const std::size_t numBytes = static_cast<std::size_t>(a.getNumSamples()) * sizeof(float);
    for (int channel = 0; channel < a.getNumChannels(); ++channel)
        if (numBytes > 0 &&
            std::memcmp(a.getReadChannelPtr(channel), b.getReadChannelPtr(channel), numBytes) != 0)
            return false;
    return true;
}

bool isFinite(const Signal32& signal)
{
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        if (!orvo::vo::isWithin(signal.getReadChannelPtr(channel), 3.0e38F, signal.getNumSamples()))
            return false;
    return true;
}

} // namespace testing_support
