#pragma once

#include "dsp/precise/FrameSums.h"
#include "dsp/precise/HarmonicLines.h"
#include "dsp/precise/PhaseTrack.h"
#include "dsp/precise/Series.h"
#include "dsp/signal/FourierTransform.h"

#include <optional>

namespace orvo::audio::precise
{

/// Channels of equal length; the samples belong to somebody else.
struct ChannelView
{
    Series<const float*> channels;
    int numSamples = 0;
    double sampleRate = 0.0;
};

/// Where the frames of a stretch lie. Frames are four periods of the fundamental long (more where
/// the fundamental is high, so that they stay near 80 ms) and half of that apart.
class FrameGrid
{
public:
    /// For a stretch of `numSamples` at `sampleRate` Hz; frames lie wholly inside.
    FrameGrid(double fundamental, double sampleRate, int numSamples);

    /// Periods of the fundamental in a frame.
    int getPeriods() const { return periods; }

    int getNumFrames() const { return numFrames; }

    double getFirstTime() const { return half / sampleRate; }

    double getFrameTime() const { return hop / sampleRate; }

    double getFrameLength() const { return periods / fundamental; }

private:
    double fundamental;
    double sampleRate;
    int periods;
    int half; // samples from a frame's centre to its last
    int hop;
    int numFrames;
};

/// Reads frames of a stretch at the harmonics of a track and beside them: one Fourier transform per
/// frame and channel, read between its bins by a Kaiser-Bessel interpolation (Keiner, Kunis and
/// Potts, "Using NFFT 3", 2009); or where frames are short and channels more than two, by direct
/// sums. One thread at a time; needs heap.
class LineReader
{
public:
    /// Reads of up to `keptHarmonics` transform every frame only once. The samples must stay.
    LineReader(const ChannelView& view, const FrameGrid& grid, double fundamental,
               int keptHarmonics = 0);

    /// Amplitudes of the first `numHarmonics` (their copy in the sound is the real part of the
    /// amplitude turned by the harmonic's phase), and as noise a mean of the powers at two bins to
    /// either side of the harmonic in which the smaller counts more, smoothed by 1/4, 1/2, 1/4 over
    /// the harmonics. What lies outside of the stretch counts as silence.
    HarmonicLines read(const PhaseTrack& track, int numHarmonics);

private:
    using Bin = std::complex<float>;

    bool isShared() const;
    void readTogether(int centre, double frequency, double phase, HarmonicLines& lines, int index);
    void rateNoise(int count, double total, double* noise) const;
    const Bin* transformFrame(const float* samples, int centre);
    const Bin* getSpectrum(int index, int channel, int centre);
    Complex getBin(const Bin* bins, double wanted) const;
    void readFrame(const Bin* bins, double frequency, double phase, int numHarmonics,
                   Complex* amplitudes, double* noise);

    const ChannelView& view;
    FrameGrid grid;
    double fundamental;
    double sampleRate;
    int keptHarmonics;
    int keptBins;        // of each frame
    Series<Bin> kept;    // [frame][channel][bin]
    Series<char> isKept; // [frame][channel]
    int half;
    int size;
    double scale;
    Series<float> window;
    const Series<float>& kernel; // the same for all
    Series<double> beside;
    std::optional<FrameSums> sums; // of all channels together
    Series<double> frequencies;
    Series<Complex> turns;
    FourierTransform transform;
    Signal32 frame;
    ComplexSignal32 spectrum;
};

} // namespace orvo::audio::precise
