#pragma once

#include "dsp/precise/ComplexMath.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

inline Complex makePhasor(double angle)
{
    return {std::cos(angle), std::sin(angle)};
}

/// How much better Student's t with two degrees of freedom explains a complex error of power
/// `error` than one of power `other`, in units of log likelihood, under noise of power `noise`.
inline double compareErrors(double error, double other, double noise)
{
    return 3.0 * std::log((2.0 * noise + other) / (2.0 * noise + error));
}

/// The numbers that all parts of the live remover share. A line is one harmonic of one channel;
/// line channel * numHarmonics + h - 1 is harmonic h.
struct LiveLayout
{
    double sampleRate = 48000.0;
    double nominal = 50.0;
    int hop = 1920;
    int numHarmonics = 96;
    int numChannels = 1;

    double getHopSeconds() const { return hop / sampleRate; }

    int getNumLines() const { return numHarmonics * numChannels; }
};

/// What one frame shows: the amplitude of every line against the nominal fundamental's phase at
/// the frame's centre, and the power of what lies between the lines.
struct LiveObservation
{
    std::int64_t centre = 0;

    /// Without it the frame held something that is no number, and the rest means nothing.
    bool isValid = false;

    std::vector<Complex> lines;
    std::vector<double> noise;
};

/// The last observations, age 0 being the newest.
class LiveHistory
{
public:
    LiveHistory() = default;

    LiveHistory(int capacity, int numLines)
        : items(static_cast<std::size_t>(capacity))
    {
        for (auto& item : items)
        {
            item.lines.resize(static_cast<std::size_t>(numLines));
            item.noise.resize(static_cast<std::size_t>(numLines));
        }
    }

    /// The oldest becomes the newest, to be written to.
    LiveObservation& advance()
    {
        newest = (newest + 1) % items.size();
        count = std::min(count + 1, items.size());
        return items[newest];
    }

    const LiveObservation& operator[](int age) const
    {
        return items[(newest + items.size() - static_cast<std::size_t>(age)) % items.size()];
    }

    LiveObservation& getNewest() { return items[newest]; }

    int getSize() const { return static_cast<int>(count); }

    void clear() { count = 0; }

private:
    std::vector<LiveObservation> items;
    std::size_t newest = 0;
    std::size_t count = 0;
};

} // namespace orvo::audio::precise
