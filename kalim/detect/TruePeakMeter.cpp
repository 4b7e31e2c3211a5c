#include "kalim/detect/TruePeakMeter.h"

#include "kalim/detect/LoudnessLibrary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kalim::program
{
namespace
{

/// As many as the library takes at once.
constexpr int mostInGroup = 64;

/// The library interpolates with a sinc under a Hann window, 49 values over four or two samples
/// each. The sum of their magnitudes is 1.87: so far the peak can be above the samples.
constexpr double mostAboveSamples = 2.0;

/// Frames beside a piece that the interpolation does not reach beyond, and a ramp to nothing.
constexpr std::size_t reach = 32;
constexpr std::size_t rampLength = 32;
constexpr std::size_t besideLength = reach + rampLength;

} // namespace

/// Pieces of sound are given to the library only where their samples are at least half its highest
/// peak so far. Beside them it gets what is really there, and ramps; these, too, are quieter than
/// half of that peak, and so whatever it finds in them does not count.
struct TruePeakMeter::Group
{
    Group(double sampleRate, int firstChannel, int numChannels)
        : state(makeLoudnessState(numChannels, sampleRate, EBUR128_MODE_TRUE_PEAK))
        , first(firstChannel)
        , count(static_cast<std::size_t>(numChannels))
        , before(besideLength * count)
    {
    }

    void add(const float* const* channels, int numSamples)
    {
        piece.resize(static_cast<std::size_t>(numSamples) * count);
        interleave(channels + first, static_cast<int>(count), numSamples, piece.data());
        const bool isShort = piece.size() < before.size();
        const bool isLoud = isShort || mostAboveSamples * getHighest(piece) > peak;
        if (isLoud && !isOpen)
            sendRamp(before, false);
        if (isLoud)
            send(piece);
        else if (isOpen)
            sendRamp({piece.begin(), piece.begin() + std::ssize(before)}, true);
        isOpen = isLoud;
        if (!isShort)
            before.assign(piece.end() - std::ssize(before), piece.end());
    }

    static double getHighest(const std::vector<float>& samples)
    {
        float highest = 0.0F;
        for (const float sample : samples)
            highest = std::max(highest, std::abs(sample));
        return static_cast<double>(highest);
    }

    /// Sends what is beside a piece, from or to nothing.
    void sendRamp(std::vector<float> frames, bool isBehind)
    {
        for (std::size_t n = 0; n < rampLength; ++n)
        {
            const std::size_t frame = isBehind ? besideLength - 1 - n : n;
            const float gain = static_cast<float>(n) / static_cast<float>(rampLength);
            for (std::size_t channel = 0; channel < count; ++channel)
                frames[frame * count + channel] *= gain;
        }
        send(frames);
    }

    void send(const std::vector<float>& frames)
    {
        addFrames(*state, frames);
        for (std::size_t channel = 0; channel < count; ++channel)
        {
            double highest = 0.0;
            ebur128_true_peak(state.get(), static_cast<unsigned>(channel), &highest);
            peak = std::max(peak, highest);
        }
    }

    LoudnessState state;
    int first;
    std::size_t count;
    std::vector<float> before; // the newest frames
    std::vector<float> piece;
    double peak = 0.0;
    bool isOpen = false; // whether the library has all up to here
};

TruePeakMeter::TruePeakMeter(double sampleRate, int numChannels)
{
    if (isLoudnessRate(sampleRate))
        for (int first = 0; first < numChannels; first += mostInGroup)
            groups.emplace_back(sampleRate, first, std::min(mostInGroup, numChannels - first));
}

TruePeakMeter::~TruePeakMeter() = default;

void TruePeakMeter::add(const float* const* channels, int numSamples)
{
    for (Group& group : groups)
        group.add(channels, numSamples);
}

double TruePeakMeter::getPeak() const
{
    double peak = 0.0;
    for (const Group& group : groups)
        peak = std::max(peak, group.peak);
    return peak;
}

} // namespace kalim::program
