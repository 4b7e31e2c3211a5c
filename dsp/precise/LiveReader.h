#pragma once

#include "dsp/precise/LiveMath.h"
#include "dsp/precise/Series.h"
#include "dsp/signal/FourierTransform.h"

#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

/// Reads the amplitudes of all harmonics and the noise between them out of one frame: a Hann
/// window of four periods, one transform, and Kaiser-Bessel interpolation between its bins
/// (J. Keiner, S. Kunis and D. Potts, "Using NFFT 3", 2009). Of high rates it keeps a low-passed
/// copy at 40 kHz or more, as long as that holds all harmonics.
class LiveReader
{
public:
    /// What the hop and the centres of frames must be multiples of.
    static int chooseFactor(const LiveLayout& layout);

    /// Not for the audio thread.
    void prepare(const LiveLayout& newLayout);

    /// Forgets all sound.
    void reset();

    /// Samples that a frame needs to either side of its centre.
    int getReach() const { return factor * (reach + delay); }

    /// Takes in what a channel's ring of `mask` + 1 samples holds new, from `begin` to `end` - 1.
    void follow(const float* ring, std::int64_t mask, int channel, std::int64_t begin,
                std::int64_t end);

    /// Fits the window to the fundamental (Hz), for the reads that follow.
    void tune(double fundamental);

    /// Reads one channel of the frame around `observation.centre` out of a ring of `mask` + 1
    /// samples and clears its validity where the frame holds something that is no number.
    void read(const float* ring, std::int64_t mask, int channel, LiveObservation& observation);

private:
    float lowPass(const float* ring, std::int64_t mask, std::int64_t last) const;
    Complex readAt(double bin) const;
    bool fill(const float* ring, std::int64_t mask, std::int64_t centre);

    LiveLayout layout;
    int factor = 1;
    int delay = 0; // of the copy, in its samples
    double lowRate = 48000.0;
    Series<float> taps;
    std::int64_t lowMask = 0;
    std::vector<std::vector<float>> lowRings; // [channel], of the copy
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
