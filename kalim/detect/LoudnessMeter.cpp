#include "kalim/detect/LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>
#include <memory>
#include <new>

namespace kalim::program
{
namespace
{

/// Channels that the standard weighs.
constexpr int mostWeighted = 6;

/// As many as the library takes at once.
constexpr int mostInGroup = 64;

/// Hz. The weighting rises around 1.7 kHz, and little of speech is left below half of this.
constexpr double leastRate = 8000.0;

/// Hz, what the library takes at all.
constexpr double lowestRate = 16.0;
constexpr double highestRate = 2822400.0;

/// Seconds of the windows whose levels make a range.
constexpr double rangeWindow = 3.0;

constexpr int loudnessAndPeak =
    EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_HISTOGRAM;

} // namespace

struct LoudnessMeter::Group
{
    struct Closer
    {
        void operator()(ebur128_state* library) const { ebur128_destroy(&library); }
    };

    std::unique_ptr<ebur128_state, Closer> state;
    int first;
    int count;
};

LoudnessMeter::LoudnessMeter(double rate, int numChannels)
    : sampleRate(rate)
{
    if (rate < lowestRate || rate > highestRate)
        return;
    const int weighted = std::min(numChannels, mostWeighted);
    addGroup(0, weighted, rate < leastRate ? EBUR128_MODE_TRUE_PEAK : loudnessAndPeak);
    for (int first = weighted; first < numChannels; first += mostInGroup)
        addGroup(first, std::min(mostInGroup, numChannels - first), EBUR128_MODE_TRUE_PEAK);
}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::addGroup(int first, int count, int mode)
{
    ebur128_state* const state =
        ebur128_init(static_cast<unsigned>(count), static_cast<unsigned long>(sampleRate), mode);
    if (state == nullptr)
        throw std::bad_alloc();
    groups.push_back({std::unique_ptr<ebur128_state, Group::Closer>(state), first, count});
}

void LoudnessMeter::add(const float* const* channels, int numSamples)
{
    for (const Group& group : groups)
    {
        interleaved.resize(static_cast<std::size_t>(numSamples) *
                           static_cast<std::size_t>(group.count));
        for (int channel = 0; channel < group.count; ++channel)
            for (int n = 0; n < numSamples; ++n)
                interleaved[static_cast<std::size_t>(n * group.count + channel)] =
                    channels[group.first + channel][n];
        if (ebur128_add_frames_float(group.state.get(), interleaved.data(),
                                     static_cast<std::size_t>(numSamples)) != EBUR128_SUCCESS)
            throw std::bad_alloc();
    }
    seconds += numSamples / sampleRate;
}

std::optional<double> LoudnessMeter::getIntegrated() const
{
    double loudness = 0.0;
    if (groups.empty() || sampleRate < leastRate ||
        ebur128_loudness_global(groups.front().state.get(), &loudness) != EBUR128_SUCCESS ||
        !std::isfinite(loudness))
        return {};
    return loudness;
}

std::optional<double> LoudnessMeter::getRange() const
{
    double range = 0.0;
    if (!getIntegrated() || seconds < rangeWindow ||
        ebur128_loudness_range(groups.front().state.get(), &range) != EBUR128_SUCCESS)
        return {};
    return range;
}

std::optional<double> LoudnessMeter::getTruePeak() const
{
    double highest = 0.0;
    for (const Group& group : groups)
        for (int channel = 0; channel < group.count; ++channel)
        {
            double peak = 0.0;
            ebur128_true_peak(group.state.get(), static_cast<unsigned>(channel), &peak);
            highest = std::max(highest, peak);
        }
    if (!(highest > 0.0))
        return {};
    return 20.0 * std::log10(highest);
}

} // namespace kalim::program
