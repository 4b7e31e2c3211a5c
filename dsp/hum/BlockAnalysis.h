#pragma once

#include "dsp/signal/FourierTransform.h"
#include "dsp/signal/SignalQueue.h"
#include "dsp/signal/Signals.h"

#include <atomic>
#include <memory>

namespace orvo::audio
{

/// Windows for the spectral analysis.
class WindowFunctions
{
public:
    /// The Hamming window 0.54 - 0.46 cos(2 pi (n + 0.5) / length), the same in all channels; at
    /// least one channel. (R. W. Hamming, "Digital Filters".) Sampling half a sample off makes it
    /// exactly symmetric. Allocates its result.
    static Signal32 generateHammingWindow(int numChannels, int length);
};

/// Hands signals from the audio thread to readers on other threads. The writer never waits: when a
/// reader is just taking its handle, that one publication is skipped. What was published must not
/// be written again by anybody.
class PublishedSignal
{
public:
    /// Replaces the signal unless a reader is busy. Returns whether it did. One writer, audio
    /// thread.
    bool tryPublish(const Signal32& newSignal) noexcept;

    /// Replaces the signal, waiting for a busy reader. Not for the running audio thread.
    void publish(const Signal32& newSignal) noexcept;

    /// A shared handle of the signal last published, in constant time. Any thread.
    Signal32 get() const noexcept;

private:
    void waitForTurn() const noexcept;

    mutable std::atomic_flag busy;
    Signal32 signal;
};

/// The spectral view of the input, once per hop: refines the hum's fundamental from the phase
/// advance of the strongest bin near it, and keeps a smoothed magnitude spectrum for display. Audio
/// thread, but for what says otherwise.
class BlockAnalysis
{
public:
    /// What is analysed, in Hz and samples: windows of blockSize, each hopSize after the one
    /// before.
    struct Format
    {
        int numChannels = 0;
        double sampleRate = 0.0;
        int blockSize = 0;
        int hopSize = 0;
    };

    /// What the user sets about the tracking.
    struct Tracking
    {
        /// Where the fundamental starts and is drawn back to, in Hz.
        float startFrequency;

        /// Largest change of the fundamental that is followed, in Hz/s.
        float adaptivity;
    };

    /// The memory of a format.
    struct Buffers
    {
        SampleRing queue;
        Signal32 weighting;
        Signal32 weighted;
        ComplexSignal32 spectrum;
        Signal32 magnitudes;
        Signal32 phases;
        Signal32 previousPhases;
        Signal32 phaseDifferences;
        Signal32 padded;
        ComplexSignal32 displaySpectrum;
        Signal32 newMagnitudes;
        Signal32 falling;
        std::shared_ptr<SignalArena> displays;
    };

    /// Makes what setFormat() takes, for calls of add() with up to `longestBlock` samples, and the
    /// transforms' plans. Changes nothing that is heard or seen. Throws std::bad_alloc. Not for the
    /// running audio thread.
    Buffers prepare(const Format& newFormat, int longestBlock);

    /// Goes over to a format and forgets everything. Not for the running audio thread.
    void setFormat(const Format& newFormat, Buffers newBuffers) noexcept;

    /// Forgets queue and spectra. Not for the running audio thread.
    void reset() noexcept;

    /// Whether the spectrum for display is kept, which is most of the analysis's work; it is unless
    /// told otherwise. Not for the running audio thread.
    void setDisplayed(bool shouldBeDisplayed) { isDisplayed = shouldBeDisplayed; }

    /// Queues the sum of the channels, of which there are the format's.
    void add(const Signal32& samples);

    /// Whether enough is queued for analyseBlock().
    bool hasBlock() const;

    /// Analyses the oldest window of what is queued and drops one hop of it. Returns the new
    /// fundamental in Hz: the estimate where it lies within reach of `fundamental`, otherwise a
    /// step back towards the start frequency.
    float analyseBlock(float fundamental, Tracking tracking);

    /// Refines `fundamental` (Hz) from magnitudes and from the phase differences (radians) over
    /// `hop` samples, one channel of blockSize / 2 + 1 bins each; returns it unchanged outside
    /// the bins. (J. L. Flanagan and R. M. Golden, "Phase Vocoder", 1966.)
    float estimateFundamental(const Signal32& magnitudes, const Signal32& phaseDifferences, int hop,
                              float fundamental) const;

    /// One channel of 2 blockSize + 1 linear magnitudes, smoothed, bin i at i sampleRate / (4
    /// blockSize) Hz; empty before the first window and where none is kept. A shared handle; not
    /// to be written. Any thread.
    Signal32 getInputMagnitudes() const { return publishedMagnitudes.get(); }

private:
    void weigh();
    void measurePhases();
    void updateDisplay();
    Signal32 smooth();

    Format format;
    bool isDisplayed = true;
    bool hasPreviousPhases = false;
    FourierTransform transform;
    Buffers buffers;
    Signal32 displayMagnitudes;
    PublishedSignal publishedMagnitudes;
};

} // namespace orvo::audio
