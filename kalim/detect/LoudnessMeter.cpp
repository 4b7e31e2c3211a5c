#include "kalim/detect/LoudnessMeter.h"

#include "kalim/detect/LoudnessLibrary.h"

#include <algorithm>
#include <cmath>

namespace kalim::program
{
namespace
{

/// Channels that the standard weighs.
constexpr int mostWeighted = 6;

/// Hz. The weighting rises around 1.7 kHz, and little of speech is left below half of this.
constexpr double leastRate = 8000.0;

/// Seconds of the windows whose levels make a range.
constexpr double rangeWindow = 3.0;

} // namespace

struct LoudnessMeter::Library
{
    LoudnessState state;
    std::vector<float> interleaved{};
};

LoudnessMeter::LoudnessMeter(double rate, int channels)
    : sampleRate(rate)
    , numChannels(std::min(channels, mostWeighted))
{
    if (rate >= leastRate && isLoudnessRate(rate))
        library = std::make_unique<Library>(Library{makeLoudnessState(
            numChannels, rate, EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_HISTOGRAM)});
}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::add(const float* const* channels, int numSamples)
{
    if (library == nullptr)
        return;
    library->interleaved.resize(static_cast<std::size_t>(numSamples) *
                                static_cast<std::size_t>(numChannels));
    interleave(channels, numChannels, numSamples, library->interleaved.data());
    addFrames(*library->state, library->interleaved);
    seconds += numSamples / sampleRate;
}

std::optional<double> LoudnessMeter::getIntegrated() const
{
    double loudness = 0.0;
    if (library == nullptr ||
        ebur128_loudness_global(library->state.get(), &loudness) != EBUR128_SUCCESS ||
        !std::isfinite(loudness))
        return {};
    return loudness;
}

std::optional<double> LoudnessMeter::getRange() const
{
    double range = 0.0;
    if (!getIntegrated() || seconds < rangeWindow ||
        ebur128_loudness_range(library->state.get(), &range) != EBUR128_SUCCESS)
        return {};
    return range;
}

} // namespace kalim::program
