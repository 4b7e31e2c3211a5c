#include "tests/support/TestSignals.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace testing_support
{
namespace
{

double amplitudeOf(double levelDb)
{
    return std::pow(10.0, levelDb / 20.0);
}

int lengthOf(double sampleRate, double seconds)
{
    return static_cast<int>(std::lround(sampleRate * seconds));
}

} // namespace

Signal32 makeHum(const Hum& hum, double sampleRate, double seconds, int numChannels)
{
    const int length = lengthOf(sampleRate, seconds);
    const double glide = (hum.endFrequency - hum.startFrequency) / (2.0 * length);
    const auto sampleAt = [&](int channel, int n)
    {
        const double turn = fullTurn * n * (hum.startFrequency + glide * (n - 1)) / sampleRate;
        double sum = 0.0;
        for (int h = 1; h <= hum.numHarmonics; ++h)
            sum += std::cos(h * turn + 0.7 * h * h + channel) / h;
        return amplitudeOf(hum.levelDb) * sum;
    };
    return makeSignal(numChannels, length, sampleAt);
}

Signal32 makeTone(double frequency, double amplitude, double sampleRate, double seconds,
                  int numChannels, double phase)
{
    return makeSignal(
        numChannels, lengthOf(sampleRate, seconds),
        [&](int, int n)
        { return amplitude * std::cos(fullTurn * frequency * n / sampleRate + phase); });
}

Signal32 makeNoise(double levelDb, double sampleRate, double seconds, int numChannels)
{
    std::mt19937 random(12345); // its sequence is the same everywhere, unlike the distributions
    const double scale = amplitudeOf(levelDb) * std::sqrt(12.0) / 4294967296.0;
    return makeSignal(numChannels, lengthOf(sampleRate, seconds),
                      [&](int, int)
                      { return scale * (static_cast<double>(random()) - 2147483648.0); });
}

Signal32 mix(const Signal32& a, const Signal32& b)
{
    return makeSignal(a.getNumChannels(), a.getNumSamples(),
                      [&](int channel, int n) {
                          return a.getReadChannelPtr(channel)[n] + b.getReadChannelPtr(channel)[n];
                      });
}

Signal32 cut(const Signal32& signal, int start, int count)
{
    return makeSignal(signal.getNumChannels(), count,
                      [&](int channel, int n)
                      { return signal.getReadChannelPtr(channel)[start + n]; });
}

Signal32 difference(const Signal32& a, const Signal32& b)
{
    return makeSignal(a.getNumChannels(), std::min(a.getNumSamples(), b.getNumSamples()),
                      [&](int channel, int n) {
                          return a.getReadChannelPtr(channel)[n] - b.getReadChannelPtr(channel)[n];
                      });
}

float peakOf(const Signal32& signal)
{
    float peak = 0.0F;
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        for (int n = 0; n < signal.getNumSamples(); ++n)
        {
            const float size = std::fabs(signal.getReadChannelPtr(channel)[n]);
            peak = std::isnan(size) ? HUGE_VALF : std::max(peak, size);
        }
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
    return peakOf(signal) <= 3.0e38F;
}

} // namespace testing_support
