#pragma once

#include "dsp/precise/ComplexMath.h"
#include "dsp/precise/GridKernels.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Transforms short frames of several channels at any frequencies: what each sample is multiplied
/// by is found once for all channels, and costs less than a transform of each where there are few
/// frequencies. One thread at a time.
class FrameSums
{
public:
    /// Channels that are summed up together, so that every wave that is read is used as often.
    static constexpr int channelGroup = 8;

    /// Rows of waves are made up to a multiple of so many: no vector holds more.
    static constexpr int rowGroup = 16;

    /// For frames with this window, of which the half from the centre on is given.
    explicit FrameSums(Series<float> window);

    /// Reads the frame around sample `centre` of every channel at frequencies from 0 to 0.5 of the
    /// rate. What lies outside of the `numSamples` of a channel counts as silence.
    void read(const Series<const float*>& channels, int numSamples, int centre,
              const Series<double>& frequencies);

    /// Sum of window times sample times exp(-2 pi i f t), t being counted from the centre.
    Complex get(int channel, int frequency) const
    {
        const std::size_t at = indexOf(channel, width, frequency);
        return {static_cast<double>(sums.real[at]), -static_cast<double>(sums.imaginary[at])};
    }

private:
    void makeWaves(const Series<double>& frequencies);
    void fold(const float* samples, int numSamples, int centre, std::size_t place);

    Series<float> window;
    int length;                   // of half a frame
    int width = 0;                // of rows of waves, whole vectors
    SplitComplex<double> turning; // [frequency]
    SplitComplex<double> turns;
    SplitComplex<float> waves; // [sample][frequency], cosines and sines
    Series<float> even;        // [channel][sample], sums of both halves of a frame
    Series<float> odd;         // and their differences
    SplitComplex<float> sums;  // [channel][frequency]
};

} // namespace orvo::audio::precise
