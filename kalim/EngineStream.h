#pragma once

#include "dsp/hum/Kalimmer.h"
#include "kalim/HumSettings.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace kalim::program
{

/// Runs a recording through the hum engine in blocks, as a host would, and gives back as many
/// samples as came in, at their old places. Memory does not grow with the length.
class EngineStream
{
public:
    /// Takes interleaved output samples.
    using Sink = std::function<void(std::span<const float> interleaved)>;

    /// Called after every analysis with the engine and the samples per channel given to it so far.
    using AnalysisObserver =
        std::function<void(const orvo::audio::Kalimmer& engine, std::int64_t position)>;

    /// `blockSize` is limited to one hop: the engine analyses once per call, so with longer calls
    /// its analysis would fall behind and its queue grow.
    EngineStream(const HumSettings& settings, int channels, int sampleRate, int blockSize,
                 AnalysisObserver observer);

    /// Samples per channel of one call of the engine. Feed multiples of it, but for the end, so
    /// that the result does not depend on how the recording was read.
    int getBlockSize() const { return blockSize; }

    /// Processes interleaved samples; what is ready goes to `sink`.
    void process(std::span<const float> interleaved, const Sink& sink);

    /// Processes silence until all output that belongs to the input has come out.
    void finish(const Sink& sink);

    /// Whether there is anything to remove at this sample rate; if not, all passes through.
    bool canRemove() const { return engine.getHopSize() > 0; }

    /// Samples so far that were no finite numbers; they count as silence.
    std::int64_t getNumNonFinite() const { return numNonFinite; }

private:
    void deinterleave(std::span<const float> interleaved);
    void processBlock(const orvo::audio::Signal32& input, const Sink& sink);
    void deliver(const orvo::audio::Signal32& result, const Sink& sink);

    orvo::audio::Kalimmer engine;
    AnalysisObserver observeAnalysis;
    int numChannels;
    int blockSize;
    std::int64_t numTaken = 0;
    std::int64_t numDelivered = 0;
    std::int64_t numExpected = 0;
    std::int64_t numNonFinite = 0;
    std::uint32_t numAnalyses = 0;
    orvo::audio::Signal32 block;
    std::vector<float> output;
};

} // namespace kalim::program
