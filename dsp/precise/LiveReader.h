#pragma once

#include "dsp/precise/LiveMath.h"
#include "dsp/signal/FourierTransform.h"

#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

/// Reads the amplitudes of all harmonics and the noise between them out of one frame: a Hann
/// window of four periods, one transform, and Kaiser-Bessel interpolation between its bins
/// (J. Keiner, S. Kunis and D. Potts, "Using NFFT 3", 2009).
class LiveReader
{
public:
    /// Not for the audio thread.
    void prepare(const LiveLayout& newLayout);

    /// Samples that a frame needs to either side of its centre.
    int getReach() const { return reach; }

    /// Fits the window to the fundamental (Hz), for the reads that follow.
    void tune(double fundamental);

    /// Reads one channel of the frame around `observation.centre` out of a ring of `mask` + 1
    /// samples and clears its validity where the frame holds something that is no number.
    void read(const float* ring, std::int64_t mask, int channel, LiveObservation& observation);

private:
    Complex readAt(double bin) const;
    bool fill(const float* ring, std::int64_t mask, std::int64_t centre);

    LiveLayout layout;
    double frequency = 50.0;
    double windowSum = 1.0;
    int reach = 0;
    int size = 0;
    std::vector<float> correction;
    std::vector<float> window;
    std::vector<float> kernel;
    std::vector<double> between;
    FourierTransform transform;
    Signal32 input;
    ComplexSignal32 spectrum;
};

} // namespace orvo::audio::precise
