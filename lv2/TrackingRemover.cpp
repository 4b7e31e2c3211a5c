#include "dsp/hum/Kalimmer.h"
#include "dsp/signal/MathEx.h"
#include "lv2/Remover.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kalim::lv2
{
namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

/// Blocks where there is no hop, because the sample rate is none that hum is removed at.
constexpr int usualBlock = 1024;

/// The signals of ours that live at the same time: a block, and one that the engine may keep.
constexpr int numSignals = 2;

class TrackingRemover : public Remover
{
public:
    TrackingRemover(double sampleRate, int channels)
        : numChannels(channels)
    {
        orvo::audio::AudioFormat format;
        format.createDefaultChannelMapping(channels);
        format.sampleRate = sampleRate;
        engine.setDisplayed(false);
        // More than a hop, whatever power of two that is.
        const int longest = orvo::MathEx::saturatingToInt(sampleRate / 10.0);
        engine.maximumBlockSize = std::clamp(longest, 1, mostSamples);
        engine.setFormat(format, format);
        const auto room = static_cast<std::size_t>(2 * engine.getHopSize() + getLongestBlock());
        queue.reserve(channels, room);
        arena = std::make_shared<orvo::audio::SignalArena>(
            Signal32::getSlotSize(channels, getLongestBlock()), numSignals);
        for (std::size_t i = 0; i < current.size(); ++i)
            current[i] = engine.getParameterValue(static_cast<int>(i));
        reset();
    }

    int setControls(std::span<const float> values) override
    {
        const int latencyBefore = getLatency();
        for (std::size_t i = 0; i < current.size(); ++i)
            if (std::exchange(current[i], values[i]) != values[i])
                engine.setParameterValue(static_cast<int>(i), values[i], false);
        const int latency = getLatency();
        if (latency == latencyBefore)
            return 0;
        queue.clear();
        if (latency > 0)
            queue.addSilence(numChannels, latency);
        return latency;
    }

    void reset() override
    {
        engine.reset();
        queue.clear();
        if (getLatency() > 0)
            queue.addSilence(numChannels, getLatency());
    }

    void process(std::span<float* const> channels, int numSamples) override
    {
        Signal32 block(numChannels, numSamples, arena);
        for (int channel = 0; channel < numChannels; ++channel)
            orvo::vo::copy(channels[static_cast<std::size_t>(channel)],
                           block.getWriteChannelPtr(channel), numSamples);
        queue.add(engine.process(block, false));
        // Without a delay there is more only at once after it ended: what was held back is late.
        if (getLatency() == 0)
            queue.drop(static_cast<int>(queue.getNumSamples()) - numSamples);
        queue.get(channels, numSamples);
    }

    /// The engine looks at one window per call, so longer blocks would leave it behind.
    int getLongestBlock() const override
    {
        return engine.getHopSize() > 0 ? engine.getHopSize() : usualBlock;
    }

    int getLatency() const override
    {
        return current[Kalimmer::AggressiveMode] > 0.0F ? 0 : engine.getHopSize();
    }

    int getLongestLatency() const override { return engine.getHopSize(); }

    float getFundamental() const override { return engine.getCurrentFundamental(); }

private:
    static constexpr int mostSamples = 1 << 22;

    int numChannels;
    Kalimmer engine;
    std::array<float, orvo::audio::numHumParameters> current{};
    std::shared_ptr<orvo::audio::SignalArena> arena;

    /// What the engine has made and the host has not got yet.
    orvo::audio::SignalQueue<Signal32> queue;
};

} // namespace

std::unique_ptr<Remover> makeTrackingRemover(double sampleRate, int numChannels)
{
    return std::make_unique<TrackingRemover>(sampleRate, numChannels);
}

} // namespace kalim::lv2
