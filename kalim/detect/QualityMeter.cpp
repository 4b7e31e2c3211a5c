#include "kalim/detect/QualityMeter.h"

#include <algorithm>
#include <cmath>

namespace kalim::program
{
namespace
{

/// Samples of each channel that are looked at at once, few enough to stay near the processor.
constexpr int pieceLength = 4096;

} // namespace

QualityMeter::QualityMeter(double sampleRate, int numChannels)
    : loudness(sampleRate, numChannels)
    , truePeak(sampleRate, numChannels)
    , comparison(numChannels)
    , clipping(static_cast<std::size_t>(numChannels))
    , dropouts(static_cast<std::size_t>(numChannels), DropoutFinder(sampleRate))
{
    quality.sampleRate = sampleRate;
    quality.channels = numChannels;
}

void QualityMeter::add(const float* const* channels, const float* const* hum, int numSamples)
{
    std::vector<const float*> piece(clipping.size());
    for (int start = 0; start < numSamples; start += pieceLength)
    {
        const int count = std::min(pieceLength, numSamples - start);
        for (std::size_t channel = 0; channel < piece.size(); ++channel)
        {
            piece[channel] = channels[channel] + start;
            clipping[channel].add(piece[channel], count);
            dropouts[channel].add(piece[channel], count);
            for (int n = start; n < start + count; ++n)
            {
                const auto removed = static_cast<double>(hum[channel][n]);
                const double left = static_cast<double>(channels[channel][n]) - removed;
                humPower += removed * removed;
                soundPower += left * left;
            }
        }
        loudness.add(piece.data(), count);
        truePeak.add(piece.data(), count);
        comparison.add(piece.data(), count);
    }
    quality.samples += numSamples;
}

Quality QualityMeter::finish()
{
    quality.loudness = loudness.getIntegrated();
    quality.loudnessRange = loudness.getRange();
    if (truePeak.getPeak() > 0.0)
        quality.truePeak = 20.0 * std::log10(truePeak.getPeak());
    for (ClippingFinder& finder : clipping)
        quality.clipped.add(finder.finish());
    for (DropoutFinder& finder : dropouts)
        quality.droppedOut.add(finder.finish());
    quality.silentChannels = comparison.getSilent();
    quality.equalChannels = comparison.getEqual();
    if (humPower > 0.0)
        quality.removable = 10.0 * std::log10(humPower / std::max(soundPower, 1e-30));
    return quality;
}

} // namespace kalim::program
