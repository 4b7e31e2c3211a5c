#pragma once

#include "dsp/signal/FourierTransform.h"

#include <functional>
#include <span>
#include <vector>

namespace kalim::program
{

/// Cuts a recording into Hann-windowed segments that overlap by half, as it streams by, and gives
/// the power of each segment's bins, summed over all channels.
class SegmentSpectra
{
public:
    /// Takes the power of the bins from 0 Hz to half the sample rate.
    using Sink = std::function<void(std::span<const double> power)>;

    /// The first segment begins with `leadingSilence` samples of silence, fewer than a segment.
    SegmentSpectra(int channels, int segmentLength, int leadingSilence);

    /// Takes the next interleaved samples and gives what they complete.
    void add(std::span<const float> interleaved, const Sink& sink);

    /// Gives the segment that holds the samples since the last full one, filled up with silence.
    void fillUp(const Sink& sink);

    /// Samples, silence included, that the next segment holds so far.
    int getNumFilled() const { return filled; }

    int getSegmentLength() const { return segmentLength; }

    /// Points of the transform, the power of two that holds a segment.
    int getTransformLength() const { return transformLength; }

    /// The power of a bin in whose centre there is a sine of full scale in every channel.
    double getFullScale() const;

private:
    void measure(const Sink& sink);

    std::size_t numChannels;
    int segmentLength;
    int transformLength;
    orvo::audio::FourierTransform transform;
    orvo::audio::Signal32 window;
    orvo::audio::Signal32 segment;

    /// One channel of the segment and its transform; behind the segment's end are zeros.
    orvo::audio::Signal32 weighted;
    orvo::audio::ComplexSignal32 spectrum;

    std::vector<double> power;
    int filled;
};

/// Samples of a segment of that length, within what can be transformed; at least a few.
int limitSegmentLength(double wanted);

} // namespace kalim::program
