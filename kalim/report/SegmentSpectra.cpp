#include "kalim/report/SegmentSpectra.h"

#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <numbers>

namespace kalim::program
{
namespace
{

using orvo::audio::Signal32;

constexpr double shortestSegment = 16;
constexpr double longestSegment = 1 << 22;

/// As in the hum engine, which limits what it is given.
constexpr float largestSample = 1.0e6F;

/// Mean of the Hann window.
constexpr double windowMean = 0.5;

Signal32 makeHannWindow(int length)
{
    Signal32 window(1, length);
    float* const samples = window.getWriteChannelPtr(0);
    for (int n = 0; n < length; ++n)
        samples[n] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * n / length));
    return window;
}

} // namespace

SegmentSpectra::SegmentSpectra(int channels, int length, int leadingSilence)
    : numChannels(static_cast<std::size_t>(channels))
    , segmentLength(length)
    , transformLength(static_cast<int>(std::bit_ceil(static_cast<unsigned int>(length))))
    , window(makeHannWindow(length))
    , segment(channels, length, 0.0F)
    , weighted(1, transformLength, 0.0F)
    , spectrum(1, transformLength / 2 + 1)
    , power(static_cast<std::size_t>(transformLength) / 2 + 1)
    , filled(leadingSilence)
{
}

void SegmentSpectra::add(std::span<const float> interleaved, const Sink& sink)
{
    while (!interleaved.empty())
    {
        const std::size_t count = std::min(interleaved.size() / numChannels,
                                           static_cast<std::size_t>(segmentLength - filled));
        for (std::size_t channel = 0; channel < numChannels; ++channel)
        {
            float* const samples = segment.getWriteChannelPtr(static_cast<int>(channel)) + filled;
            for (std::size_t n = 0; n < count; ++n)
                samples[n] = interleaved[n * numChannels + channel];
            // One sample out of all range must not blot out the rest of the recording.
            orvo::vo::limitToFinite(samples, samples, largestSample, static_cast<int>(count));
        }
        interleaved = interleaved.subspan(count * numChannels);
        filled += static_cast<int>(count);
        if (filled == segmentLength)
            measure(sink);
    }
}

void SegmentSpectra::fillUp(const Sink& sink)
{
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
        orvo::vo::setToZero(segment.getWriteChannelPtr(channel) + filled, segmentLength - filled);
    measure(sink);
}

double SegmentSpectra::getFullScale() const
{
    // |X| = amplitude * length * windowMean / 2 for a sine in the centre of a bin.
    const double perAmplitude = segmentLength * windowMean / 2.0;
    return perAmplitude * perAmplitude * static_cast<double>(numChannels);
}

void SegmentSpectra::measure(const Sink& sink)
{
    std::ranges::fill(power, 0.0);
    float* const samples = weighted.getWriteChannelPtr(0);
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
    {
        orvo::vo::multiply(segment.getReadChannelPtr(channel), window.getReadChannelPtr(0), samples,
                           segmentLength);
        transform.forwardReal(weighted, spectrum);
        const std::complex<float>* const bins = spectrum.getReadChannelPtr(0);
        for (std::size_t bin = 0; bin < power.size(); ++bin)
            power[bin] += std::norm(std::complex<double>(bins[bin]));
    }
    sink(power);
    // The next segment starts in the middle of this one.
    const int half = segmentLength / 2;
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
    {
        float* const all = segment.getWriteChannelPtr(channel);
        orvo::vo::copy(all + segmentLength - half, all, half);
    }
    filled = half;
}

int limitSegmentLength(double wanted)
{
    return static_cast<int>(std::clamp(wanted, shortestSegment, longestSegment));
}

} // namespace kalim::program
