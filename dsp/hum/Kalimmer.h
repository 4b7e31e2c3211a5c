#pragma once

#include "dsp/hum/BlockAnalysis.h"
#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/HumParameters.h"
#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/TrackerBank.h"
#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/processor/ProcessorParameter.h"
#include "dsp/signal/RelaxedAtomic.h"
#include "dsp/signal/SignalQueue.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace orvo::audio
{

/// Detection status of one active harmonic.
struct HarmonicStatus
{
    /// In Hz.
    float frequency = 0.0F;

    bool present = false;
};

/// The engine: follows the fundamental of mains hum from hop to hop and removes it and a chosen
/// number of harmonics from every channel, in normal mode by subtracting a tracked copy of each
/// (one hop of latency), in aggressive mode with notches (no latency). In residual mode the output
/// is what would have been removed. All memory belongs to the engine and is taken when the format
/// is set.
class Kalimmer : public BaseAudioProcessor
{
public:
    /// The parameters by their plain names, as in Kalimmer::Adaptivity.
    using enum HumParameterId;

    Kalimmer() = default;

    /// Takes any number of channels from 1 on, the same for input and output, at one sample rate;
    /// returns false for other formats and then goes on as before. At sample rates too low or too
    /// high for an analysis the audio passes through. Ends with a reset. Throws std::bad_alloc, and
    /// has then changed nothing. Not for the running audio thread.
    bool setFormat(const AudioFormat& input, const AudioFormat& output) override;

    ProcessingInfo getProcessingInfo() override;

    /// Forgets all audio and starts from the set fundamental. Takes memory, and so may throw
    /// std::bad_alloc, only if maximumBlockSize has grown. Not for the running audio thread.
    void reset() override;

    /// Queues the input, analyses at most one window, and returns all output that is ready.
    /// Bypassed, the input itself comes back while the tracking goes on. Before a format was taken,
    /// or when the channels do not fit it, the input passes through. Samples that are not finite
    /// count as 0. Free of the system heap for inputs of up to maximumBlockSize samples (16384
    /// where none is announced) while no more than two results are kept.
    Signal32 process(const Signal32& input, bool bypass) override;

    std::string getName() override { return "Kalim"; }

    int getNumHeldSamples() override;

    /// One entry per active harmonic. Any thread, no lock.
    std::vector<HarmonicStatus> getDetectionStatus() const;

    /// The smoothed spectrum of the input, see BlockAnalysis. Any thread, no lock.
    Signal32 getInputMagnitudes() const { return analysis.getInputMagnitudes(); }

    /// Whether that spectrum is kept, as it is unless told otherwise; the audio does not depend on
    /// it. Before audio runs.
    void setDisplayed(bool shouldBeDisplayed) { analysis.setDisplayed(shouldBeDisplayed); }

    /// The tracked fundamental in Hz. Any thread, no lock.
    float getCurrentFundamental() const { return currentFundamental; }

    /// How many windows were analysed since construction; changes when there is something new to
    /// show. Any thread, no lock.
    std::uint32_t getNumAnalysedBlocks() const { return numAnalysedBlocks; }

    /// Samples between analysed windows; 0 before a format was taken. Any thread.
    int getHopSize() const { return hopSize; }

private:
    /// A parameter that takes its row of the table and its place in the list of all.
    template <typename Parameter>
    struct Listed : Parameter
    {
        Listed(Kalimmer& engine, HumParameterId id);
    };

    /// What a format needs besides the room in trackers and notches.
    struct Memory
    {
        BlockAnalysis::Buffers analysis;
        std::shared_ptr<SignalArena> arena;
        Signal32 untouchedFrame;
        int longestBlock = 0;
    };

    int getLongestBlock() const;
    Memory makeMemory(const BlockAnalysis::Format& newFormat);
    void useMemory(const BlockAnalysis::Format& newFormat, Memory memory) noexcept;
    bool canProcess(const Signal32& input) const;
    Signal32 withoutExtremes(const Signal32& input) const;
    HarmonicSelection getSelection() const;
    void followFundamental();
    Signal32 processWithTrackers(const Signal32& input);
    Signal32 processWithNotchFilters(const Signal32& input);
    void pointTo(Signal32& output, int start);
    template <typename Clean>
    void cleanFrame(int length, const Clean& clean);
    Signal32 makeOutput(int numSamples);

    Listed<TypedProcessorParameter<float>> fundamentalFrequency{*this, FundamentalFrequency};
    Listed<TypedProcessorParameter<float>> sensitivity{*this, Sensitivity};
    Listed<TypedProcessorParameter<float>> adaptivity{*this, Adaptivity};
    Listed<TypedProcessorParameter<int>> numberOfHarmonics{*this, NumberOfHarmonics};
    Listed<BoolProcessorParameter> onlyOddHarmonics{*this, OnlyOddHarmonics};
    Listed<BoolProcessorParameter> aggressiveMode{*this, AggressiveMode};
    Listed<BoolProcessorParameter> residualMode{*this, ResidualMode};

    BlockAnalysis analysis;
    TrackerBank trackers;
    NotchCascade notches;

    BlockAnalysis::Format format;
    SignalQueue<Signal32> synthesisQueue;
    std::shared_ptr<SignalArena> arena;
    Signal32 untouchedFrame;
    std::vector<float*> framePointers;
    int preparedBlock = 0;
    bool hasOutput = false;

    RelaxedAtomic<int> hopSize{0};
    RelaxedAtomic<float> currentFundamental{fundamentalFrequency.defaultValue};
    RelaxedAtomic<std::uint32_t> numAnalysedBlocks{0};
};

} // namespace orvo::audio
