#pragma once

#include "dsp/hum/BlockAnalysis.h"
#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/HarmonicStatus.h"
#include "dsp/hum/HumParameters.h"
#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/TrackerBank.h"
#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/processor/BoolProcessorParameter.h"
#include "dsp/processor/TypedProcessorParameter.h"
#include "dsp/signal/AlignedMemory.h"
#include "dsp/signal/RelaxedAtomic.h"
#include "dsp/signal/SignalQueue.h"

#include <cstdint>
#include <vector>

namespace orvo::audio
{

/// The hum remover: follows the fundamental of mains hum from block to block and removes it and a
/// chosen number of harmonics from every channel, in normal mode by subtracting a tracked copy of
/// each (one hop of latency), in aggressive mode with notches (no latency). In residual mode the
/// output is what would have been removed.
class Kalimmer : public BaseAudioProcessor
{
public:
    /// The parameters by their plain names, as in Kalimmer::Adaptivity.
    using enum HumParameterId;

    Kalimmer();

    /// Takes any number of channels from 1 on, the same for input and output, at one sample rate;
    /// returns false for other formats and then goes on as before. At sample rates too low or too
    /// high for an analysis block the audio passes through. Ends with a reset.
    bool setFormat(const AudioFormat& input, const AudioFormat& output) override;

    ProcessingInfo getProcessingInfo() override;

    void reset() override;

    /// Queues the input, analyses at most one block, and returns all output that is ready.
    /// Bypassed, the input itself comes back while the tracking goes on. Before a format was taken,
    /// or when the channels do not fit it, the input passes through. Samples that are not finite
    /// count as 0.
    Signal32 process(const Signal32& input, bool bypass) override;

    std::string getName() override { return "Kalim"; }

    /// One entry per active harmonic. Any thread, no lock.
    std::vector<HarmonicStatus> getDetectionStatus() const;

    /// The smoothed spectrum of the input, see BlockAnalysis. Any thread, no lock.
    Signal32 getInputMagnitudes() const { return analysis.getInputMagnitudes(); }

    /// Whether that spectrum is kept, as it is unless told otherwise; the audio does not depend on
    /// it. Before audio runs.
    void setDisplayed(bool shouldBeDisplayed) { analysis.setDisplayed(shouldBeDisplayed); }

    /// The tracked fundamental in Hz. Any thread, no lock.
    float getCurrentFundamental() const { return currentFundamental; }

    /// How many blocks were analysed since construction; changes when there is something new to
    /// show. Any thread, no lock.
    std::uint32_t getNumAnalysedBlocks() const { return numAnalysedBlocks; }

    /// Samples between analysed blocks; 0 before a format was taken. Any thread.
    int getHopSize() const { return hopSize; }

private:
    void reserveMemory();
    bool canProcess(const Signal32& input) const;
    HarmonicSelection getSelection() const;
    void analyseQueue();
    void analyseBlock(const Signal32& block);
    Signal32 processWithTrackers(const Signal32& input);
    Signal32 processWithNotchFilters(const Signal32& input);
    void queueOutput(const Signal32& frame, const Signal32& cleaned);
    Signal32 takeOutput();

    MemoryReserve reserve;

    TypedProcessorParameter<float> fundamentalFrequency;
    TypedProcessorParameter<float> sensitivity;
    TypedProcessorParameter<float> adaptivity;
    TypedProcessorParameter<int> numberOfHarmonics;
    BoolProcessorParameter onlyOddHarmonics;
    BoolProcessorParameter aggressiveMode;
    BoolProcessorParameter residualMode;

    BlockAnalysis analysis;
    TrackerBank trackers;
    NotchCascade notches;

    SignalQueue<Signal32> synthesisQueue;
    SignalQueue<Signal32> analysisQueue;
    SignalQueue<Signal32> outputQueue;

    int numChannels = 0;
    double sampleRate = 0.0;
    int blockSize = 0;
    RelaxedAtomic<int> hopSize{0};
    RelaxedAtomic<float> currentFundamental;
    RelaxedAtomic<std::uint32_t> numAnalysedBlocks{0};
};

} // namespace orvo::audio
