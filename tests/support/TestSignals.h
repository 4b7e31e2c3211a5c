#pragma once

#include "dsp/signal/Signals.h"

#include <numbers>

/// Signals that the engine's tests listen to. Levels are in dBFS; the amplitude of a tone at 0 dB
/// is 1.
namespace testing_support
{

inline constexpr double fullTurn = 2.0 * std::numbers::pi;

using orvo::audio::Signal32;

/// A signal whose sample n is `sampleAt(channel, n)`; asked for channel after channel.
template <typename SampleAt>
Signal32 makeSignal(int numChannels, int numSamples, const SampleAt& sampleAt)
{
    Signal32 signal(numChannels, numSamples);
    for (int channel = 0; channel < numChannels; ++channel)
    {
        float* const samples = signal.getWriteChannelPtr(channel);
        for (int n = 0; n < numSamples; ++n)
            samples[n] = static_cast<float>(sampleAt(channel, n));
    }
    return signal;
}

/// A hum like that of bad earthing: harmonic h has 1 / h of the fundamental's amplitude and a phase
/// of its own. The fundamental glides from `startFrequency` to `endFrequency` (Hz).
struct Hum
{
    double startFrequency = 50.0;
    double endFrequency = 50.0;
    int numHarmonics = 20;
    double levelDb = -26.0;
};

/// The hum in all channels, each with phases of its own.
Signal32 makeHum(const Hum& hum, double sampleRate, double seconds, int numChannels = 1);

/// A cosine of constant frequency (Hz) that starts with `phase` (radians).
Signal32 makeTone(double frequency, double amplitude, double sampleRate, double seconds,
                  int numChannels = 1, double phase = 0.0);

/// White noise of the given power, different in each channel and the same in each run.
Signal32 makeNoise(double levelDb, double sampleRate, double seconds, int numChannels = 1);

/// The sum of two signals of one shape.
Signal32 mix(const Signal32& a, const Signal32& b);

/// `count` samples from `start` on.
Signal32 cut(const Signal32& signal, int start, int count);

/// a - b over the length of the shorter.
Signal32 difference(const Signal32& a, const Signal32& b);

/// The largest absolute sample of all channels; infinite where one is NaN.
float peakOf(const Signal32& signal);

/// Whether shapes and all bits of the samples are the same.
bool areIdentical(const Signal32& a, const Signal32& b);

bool isFinite(const Signal32& signal);

} // namespace testing_support
