#pragma once

#include "dsp/hum/Kalimmer.h"
#include "kalim/HumSettings.h"
#include "kalim/HumStream.h"

#include <vector>

namespace kalim::program
{

/// Runs a recording through the hum engine in blocks, as a host would.
class EngineStream : public HumStream
{
public:
    /// Called after every analysis with the engine and the samples per channel given to it so far.
    using AnalysisObserver =
        std::function<void(const orvo::audio::Kalimmer& engine, std::int64_t position)>;

    /// `blockSize` is limited to one hop: the engine analyses once per call, so with longer calls
    /// its analysis would fall behind and its queue grow.
    EngineStream(const HumSettings& settings, int channels, int sampleRate, int blockSize,
                 AnalysisObserver observer);

    /// Samples per channel of one call of the engine.
    int getBlockSize() const override { return blockSize; }

    void process(std::span<const float> interleaved, const Sink& sink) override;
    void finish(const Sink& sink) override;

    bool canRemove() const override { return engine.getHopSize() > 0; }

    std::int64_t getNumNonFinite() const override { return numNonFinite; }

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
