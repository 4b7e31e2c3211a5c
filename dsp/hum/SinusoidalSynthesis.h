#pragma once

#include "dsp/signal/IirFilter64.h"
#include "dsp/signal/RelaxedAtomic.h"
#include "dsp/signal/Signals.h"

#include <complex>
#include <vector>

namespace orvo::audio
{

/// Tracks one harmonic of the hum in every channel and makes a copy of it, frame by frame: isolates
/// it with a band-pass, measures amplitude and phase over whole periods, compares the phase with
/// the one foreseen a frame ago, and renders a cosine that runs on from the frame before. A
/// harmonic whose phase does not behave as foreseen is faded out.
///
/// generateSignal() is the whole of it for one harmonic, step by step. TrackerBank runs many
/// trackers at once through the same steps, which is why they are public. One thread at a time, but
/// isSinusoidalPresent() may be asked from any thread.
class SinusoidalSynthesis
{
public:
    /// Amplitude, phase at the first sample and deviation from the foreseen phase (radians).
    struct Measurement
    {
        float amplitude = 0.0F;
        float phase = 0.0F;
        float deviation = 0.0F;

        bool isFinite() const;
    };

    /// The cosine to render in one channel of one frame: sample n of `length` is
    /// cos(startPhase + n * phaseStep) * (startAmplitude + amplitudeChange * crossfade(n, length)).
    struct Oscillation
    {
        double startPhase = 0.0;
        double phaseStep = 0.0;
        float startAmplitude = 0.0F;
        float amplitudeChange = 0.0F;

        bool isSilent() const { return startAmplitude == 0.0F && amplitudeChange == 0.0F; }
    };

    /// Quality of the band-pass that isolates a harmonic.
    static constexpr double isolationQ = 10.0;

    SinusoidalSynthesis() = default;
    SinusoidalSynthesis(const SinusoidalSynthesis&) = default;
    SinusoidalSynthesis& operator=(const SinusoidalSynthesis&) = default;
    virtual ~SinusoidalSynthesis() = default;

    /// Makes room for that many channels, so that setFormat() up to it allocates nothing. Changes
    /// nothing else. Throws std::bad_alloc.
    void reserve(int mostChannels);

    /// Starts afresh for `numChannels` channels at `sampleRate` Hz. Returns true. Allocates where
    /// no room was made.
    bool setFormat(int newNumChannels, double newSampleRate);

    /// Forgets everything but the format. Allocates nothing if the channel count stayed.
    virtual void reset();

    /// Whether the last channel of the last frame held the harmonic.
    bool isSinusoidalPresent() const { return present; }

    /// Measures one channel of an isolated harmonic at `frequency` Hz and foresees the next frame's
    /// phase.
    void analyseSignal(const Signal32& signal, int channel, float frequency, float& amplitude,
                       float& phase, float& phaseDeviation);

    /// The harmonic `harmonicNumber` of `fundamental` Hz as it is in this frame, for subtraction.
    /// Silent, without a change of state, for frequencies that canTrack() refuses.
    Signal32 generateSignal(const Signal32& frame, float fundamental, int harmonicNumber);

    /// Whether a frequency in Hz can be tracked: above 0 and at most 0.49 of the sample rate.
    bool canTrack(float frequency) const;

    /// Tunes the band-pass to `frequency` Hz; its state runs on.
    void tune(float frequency);

    IirFilter64& getBandPass() { return bandPass; }

    /// True until a frame was generated after construction or reset.
    bool isFirstFrame() const { return firstFrame; }

    /// Samples of a frame that prime the band-pass: one period of the fundamental, within the
    /// frame.
    int getPrimingPeriod(float fundamental, int frameLength) const;

    /// How often they are run through it.
    int getNumPrimingPasses(int primingPeriod, int frameLength) const;

    /// Samples of a frame that hold whole periods of `frequency`; 0 if not even one fits.
    int getWholePeriods(float frequency, int frameLength) const;

    /// Turns the spectrum value of one channel, taken over whole periods, into a measurement.
    Measurement measure(int channel, float frequency, int frameLength,
                        std::complex<float> transform);

    /// From a measurement to what is rendered; `foreseenPhase` is the one from before measure().
    Oscillation planOscillation(int channel, float frequency, int frameLength, float foreseenPhase,
                                Measurement measurement);

    /// The phase foreseen for the start of the next frame.
    float getForeseenPhase(int channel) const;

    /// Ends a frame: whether its last channel held the harmonic is what others see from now on.
    void finishFrame();

    /// From 0 at the first sample to almost 1 at the last, along a raised cosine.
    static float crossfade(int sample, int frameLength);

private:
    void primeBandPass(const Signal32& frame, float fundamental);
    Signal32 isolate(const Signal32& frame);

    static constexpr float presenceThreshold = 1.0F; // radians

    int numChannels = 0;
    double sampleRate = 0.0;
    bool firstFrame = true;
    bool held = false;
    RelaxedAtomic<bool> present{false};
    IirFilter64 bandPass;
    std::vector<float> smoothedAmplitude;
    std::vector<float> lastAmplitude;
    std::vector<float> predictedPhase;
};

} // namespace orvo::audio
