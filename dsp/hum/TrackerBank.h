#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/SinusoidalSynthesis.h"
#include "dsp/hum/TrackerKernels.h"

#include <complex>
#include <span>
#include <vector>

namespace orvo::audio
{

/// All harmonic trackers, run together over one frame: harmonics as lanes for the isolation and the
/// measurement, time as lanes for the synthesis. The trackers own their state; a frame gathers it,
/// runs, and puts it back. Agrees with SinusoidalSynthesis::generateSignal() to single precision.
class TrackerBank
{
public:
    TrackerBank();

    /// Sets all trackers up for frames of `frameLength` samples, from rest. Not for the audio
    /// thread.
    void setFormat(int newNumChannels, double newSampleRate, int newFrameLength);

    /// Resets all trackers.
    void reset();

    /// Lets the selected trackers follow `fundamental` (Hz) through `frame` and subtracts what they
    /// make from `output`, in harmonic order. Both signals have the format's channels and frame
    /// length. Audio thread; allocates nothing.
    void subtractHarmonics(const Signal32& frame, Signal32& output, float fundamental,
                           HarmonicSelection selection);

    /// The tracker of the harmonic at `index`, 0 <= index < HarmonicSelection::maximum.
    const SinusoidalSynthesis& getTracker(int index) const
    {
        return trackers[static_cast<std::size_t>(index)];
    }

private:
    /// A tracker that takes part in the present frame.
    struct Participant
    {
        SinusoidalSynthesis* tracker;
        float frequency;
        bool hasFailed;

        /// exp(-iw), with w the radians per sample of the transform, and its power that leads from
        /// the last sample of the frame back to the first.
        std::complex<double> oneSampleBack;
        std::complex<double> backToStart;
    };

    void gatherParticipants(float fundamental, HarmonicSelection selection);
    void measureChannel(const Signal32& frame, int channel, float fundamental);
    void loadLanes(int channel);
    void primeNewTrackers(int channel, float fundamental);
    void planOscillations(int channel);
    void subtractFrom(float* output, int channel) const;
    void finishFrame();

    std::span<kernels::TrackerBlock> getBlocksInUse();
    std::span<SinusoidalSynthesis::Oscillation> getOscillations(int channel);

    std::vector<SinusoidalSynthesis> trackers;
    int numChannels = 0;
    double sampleRate = 0.0;
    int frameLength = 0;

    Signal32 crossfade;
    Signal64 input;
    std::vector<Participant> participants;
    std::vector<kernels::TrackerBlock> blocks;
    std::vector<SinusoidalSynthesis::Oscillation> oscillations;
};

} // namespace orvo::audio
