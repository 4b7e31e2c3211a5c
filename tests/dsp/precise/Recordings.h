#pragma once

#include "dsp/precise/PreciseRemover.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TestSignals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

/// Recordings of known parts for the precise remover, and what it takes out of them.
namespace testing_support
{

using Channels = std::vector<std::vector<float>>;

/// Random numbers that are the same everywhere, unlike those of the standard's distributions.
struct Dice
{
    double uniform(double low, double high)
    {
        return low + (high - low) * static_cast<double>(generator()) / 4294967296.0;
    }

    int choose(int count) { return static_cast<int>(uniform(0.0, count)); }

    std::mt19937 generator;
};

/// Nearly normal, of variance 1.
inline double makeNormal(Dice& dice)
{
    double sum = 0.0;
    for (int i = 0; i < 12; ++i)
        sum += dice.uniform(-0.5, 0.5);
    return sum;
}

inline orvo::audio::precise::Complex makeNoise(Dice& dice, double power)
{
    const double real = makeNormal(dice);
    return std::sqrt(0.5 * power) * orvo::audio::precise::Complex(real, makeNormal(dice));
}

inline Channels makeSilence(int numChannels, double sampleRate, double seconds)
{
    const auto length = static_cast<std::size_t>(std::lround(sampleRate * seconds));
    return Channels(static_cast<std::size_t>(numChannels), std::vector<float>(length));
}

/// Hum or a note: harmonics whose amplitudes, about 1 / h, and phases are random in each channel.
/// Times in seconds, frequencies in Hz.
struct Tone
{
    double start = 0.0;
    double length = 1e9;
    double fundamental = 50.0;
    int numHarmonics = 20;
    double swing = 0.0; ///< Hz to either side
    double swingRate = 0.1;
    double breath = 0.0;           ///< dB to either side, 0.3 times a second
    double decay = 0.0;            ///< nepers per second
    std::array<double, 3> leaps{}; ///< when it is a third of a period ahead at once; 0: never
    double amplitude = 0.1;
};

inline void addTone(Channels& recording, double sampleRate, const Tone& tone, Dice& dice)
{
    using orvo::audio::precise::Complex;
    std::vector<std::vector<Complex>> amplitudes(recording.size());
    for (auto& channel : amplitudes)
        for (int h = 1; h <= tone.numHarmonics && h * tone.fundamental < 0.45 * sampleRate; ++h)
        {
            const double size = tone.amplitude * dice.uniform(0.3, 1.0) / h;
            channel.push_back(std::polar(size, dice.uniform(0.0, fullTurn)));
        }
    double cycles = 0.0;
    const std::size_t length = recording.front().size();
    for (auto i = static_cast<std::size_t>(tone.start * sampleRate); i < length; ++i)
    {
        const double time = static_cast<double>(i) / sampleRate;
        const double sinceStart = time - tone.start;
        if (sinceStart >= tone.length)
            break;
        const double fade =
            tone.start > 0.0
                ? std::min({1.0, sinceStart / 0.005, (tone.length - sinceStart) / 0.005})
                : 1.0;
        const double gain = fade * std::exp(-tone.decay * sinceStart +
                                            tone.breath / 8.686 * std::sin(fullTurn * 0.3 * time));
        const auto leaps = std::count_if(tone.leaps.begin(), tone.leaps.end(),
                                         [time](double leap) { return leap <= time; });
        const Complex z = std::polar(1.0, fullTurn * (cycles + static_cast<double>(leaps) / 3.0));
        for (std::size_t channel = 0; channel < recording.size(); ++channel)
        {
            Complex sum;
            for (std::size_t h = amplitudes[channel].size(); h-- > 0;)
                sum = orvo::audio::precise::multiply(z, sum + amplitudes[channel][h]);
            recording[channel][i] += static_cast<float>(gain * sum.real());
        }
        cycles += (tone.fundamental + tone.swing * std::sin(fullTurn * tone.swingRate * time)) /
                  sampleRate;
    }
}

/// Noise that is the louder the lower it is, as music is.
inline void addNoise(Channels& recording, double sampleRate, double start, double length,
                     double amplitude, Dice& dice)
{
    const double share = std::min(fullTurn * 100.0 / sampleRate, 1.0);
    for (auto& channel : recording)
    {
        double low = 0.0;
        const auto last =
            std::min(channel.size(), static_cast<std::size_t>((start + length) * sampleRate));
        for (auto i = static_cast<std::size_t>(start * sampleRate); i < last; ++i)
        {
            const double white = dice.uniform(-1.0, 1.0);
            low += share * (white - low);
            channel[i] += static_cast<float>(amplitude * (0.2 * white + low / std::sqrt(share)));
        }
    }
}

/// Music-like noise with a tone every 0.7 s.
inline Channels makeSound(int numChannels, double sampleRate, double seconds)
{
    Dice dice;
    Channels sound = makeSilence(numChannels, sampleRate, seconds);
    addNoise(sound, sampleRate, 0.0, seconds, 0.1, dice);
    for (double time = 0.1; time < seconds; time += 0.7)
        addTone(
            sound, sampleRate,
            {.start = time, .length = 0.4, .fundamental = dice.uniform(90.0, 1000.0), .decay = 4.0},
            dice);
    return sound;
}

inline double getEnergy(const Channels& channels)
{
    double sum = 0.0;
    for (const auto& channel : channels)
        for (const float sample : channel)
            sum += static_cast<double>(sample) * sample;
    return sum;
}

inline Channels add(const Channels& a, const Channels& b, double factor = 1.0)
{
    Channels sum = a;
    for (std::size_t channel = 0; channel < sum.size(); ++channel)
        for (std::size_t i = 0; i < sum[channel].size(); ++i)
            sum[channel][i] += static_cast<float>(factor) * b[channel][i];
    return sum;
}

/// The recording with a hum whose energy is `share` of it, or some where it is silent.
inline Channels addHum(const Channels& clean, double sampleRate, const Tone& hum, double share,
                       Dice& dice)
{
    Channels alone(clean.size(), std::vector<float>(clean.front().size()));
    addTone(alone, sampleRate, hum, dice);
    const double energy = getEnergy(clean);
    return add(clean, alone,
               energy > 0.0 ? std::sqrt(share * energy / std::max(1e-30, getEnergy(alone))) : 1.0);
}

/// What the remover gave to its sink.
struct Removal
{
    Channels samples;
    Channels hum;
    orvo::audio::precise::HumSummary summary;
};

/// Reads the recording twice, in blocks of `blockSize` samples, as one who cleans a file does.
inline Removal removeHum(const Channels& recording, double sampleRate,
                         const orvo::audio::precise::PreciseSettings& settings = {},
                         int blockSize = 4096)
{
    const auto numChannels = static_cast<int>(recording.size());
    const auto length = static_cast<int>(recording.front().size());
    const auto feed = [&](auto& reader)
    {
        for (int start = 0; start < length; start += blockSize)
        {
            std::vector<const float*> block;
            for (const auto& channel : recording)
                block.push_back(channel.data() + start);
            reader.add(block.data(), std::min(blockSize, length - start));
        }
    };
    orvo::audio::precise::HumSurvey survey(sampleRate, numChannels, settings);
    feed(survey);
    Removal removal{Channels(recording.size()), Channels(recording.size()), {}};
    const auto take = [&](const float* const* samples, const float* const* hum, int count)
    {
        for (std::size_t i = 0; i < recording.size(); ++i)
        {
            removal.samples[i].insert(removal.samples[i].end(), samples[i], samples[i] + count);
            removal.hum[i].insert(removal.hum[i].end(), hum[i], hum[i] + count);
        }
    };
    orvo::audio::precise::PreciseRemover remover(sampleRate, numChannels, survey.finish(), take);
    feed(remover);
    remover.finish();
    removal.summary = remover.getSummary();
    return removal;
}

} // namespace testing_support
