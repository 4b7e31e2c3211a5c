#pragma once

#include "dsp/signal/FourierTransform.h"
#include "dsp/signal/PublishedSignal.h"
#include "dsp/signal/Signals.h"

namespace orvo::audio
{

/// The spectral view of the input, once per hop: refines the hum's fundamental from the phase
/// advance of the strongest bin near it, and keeps a smoothed magnitude spectrum for display. Audio
/// thread, but for what says otherwise.
class BlockAnalysis
{
public:
    /// What the user sets about the tracking.
    struct Tracking
    {
        /// Where the fundamental starts and is drawn back to, in Hz.
        float startFrequency;

        /// Largest change of the fundamental that is followed, in Hz/s.
        float adaptivity;
    };

    /// Sets sizes and makes the transforms' plans. Not for the running audio thread.
    void setFormat(int newNumChannels, double newSampleRate, int newBlockSize, int newHopSize);

    /// Forgets the spectra. Not for the running audio thread.
    void reset();

    /// Whether the spectrum for display is kept, which is most of the analysis's work; it is unless
    /// told otherwise. Not for the running audio thread.
    void setDisplayed(bool shouldBeDisplayed) { isDisplayed = shouldBeDisplayed; }

    /// Analyses one block of blockSize samples, hopSize after the one before. Returns the new
    /// fundamental in Hz: the estimate where it lies within reach of `fundamental`, otherwise a
    /// step back towards the start frequency.
    float analyseBlock(const Signal32& block, float fundamental, Tracking tracking);

    /// Refines `fundamental` (Hz) from magnitudes and from the phase differences (radians) over
    /// `hop` samples, one channel of blockSize / 2 + 1 bins each; returns it unchanged outside the
    /// bins. (J. L. Flanagan and R. M. Golden, "Phase Vocoder", 1966.)
    float estimateFundamental(const Signal32& magnitudes, const Signal32& phaseDifferences, int hop,
                              float fundamental) const;

    /// One channel of 2 blockSize + 1 linear magnitudes, smoothed, bin i at i sampleRate / (4
    /// blockSize) Hz; empty before the first block and where none is kept. A shared handle; not to
    /// be written. Any thread.
    Signal32 getInputMagnitudes() const { return publishedMagnitudes.get(); }

private:
    Signal32 weigh(const Signal32& block);
    Signal32 differenceToPrevious(const Signal32& phases) const;
    void updateDisplay(const Signal32& weighted);
    Signal32 smooth(const Signal32& newMagnitudes) const;

    int numChannels = 0;
    double sampleRate = 0.0;
    int blockSize = 0;
    int hopSize = 0;
    bool isDisplayed = true;

    FourierTransform transform;
    Signal32 weighting;
    Signal32 previousPhases;
    Signal32 displayMagnitudes;
    PublishedSignal publishedMagnitudes;
};

} // namespace orvo::audio
