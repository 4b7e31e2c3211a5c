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

    /// Makes room for that many channels and samples per frame, so that setFormat() up to it
    /// allocates nothing. Changes nothing else. Throws std::bad_alloc. Not for the audio thread.
    void reserve(int mostChannels, int longestFrame);

    /// Sets all trackers up for frames of `newFrameLength` samples, from rest. Allocates where no
    /// room was made. Not for the audio thread.
    void setFormat(int newNumChannels, double newSampleRate, int newFrameLength);

    /// Resets all trackers.
    void reset();

    /// Lets the selected trackers follow `fundamental` (Hz) through a frame and subtracts what they
    /// make from it, in harmonic order. `frame` has the first sample of each channel of the format.
    /// Audio thread; allocates nothing.
    void subtractHarmonics(std::span<float* const> frame, float fundamental,
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
    void measureChannel(const float* samples, int channel, float fundamental);
    void loadLanes(int channel);
    void primeNewTrackers(int channel, float fundamental);
    void planOscillations(int channel);
    void subtractFrom(float* output, int channel) const;
    void finishFrame();

    std::span<kernels::TrackerGroup> getGroupsInUse();
    std::span<SinusoidalSynthesis::Oscillation> getOscillations(int channel);

    std::vector<SinusoidalSynthesis> trackers;
    int numChannels = 0;
    double sampleRate = 0.0;
    int frameLength = 0;

    AlignedVector<float> crossfade;
    AlignedVector<double> input;
    std::vector<Participant> participants;
    std::vector<kernels::TrackerGroup> groups;
    std::vector<SinusoidalSynthesis::Oscillation> oscillations;
};

} // namespace orvo::audio
