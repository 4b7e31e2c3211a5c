#include "python/src/HumStream.h"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace kalim::python
{
namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;
using orvo::audio::precise::LiveRemover;

class EngineStream : public HumStream
{
public:
    EngineStream(const EngineTask& task, int channels)
        : blockSize(prepareEngine(engine, task, channels))
        , ready(static_cast<std::size_t>(channels))
    {
        EngineStream::reset();
    }

    int getLatency() override { return engine.getProcessingInfo().processingLatency; }

    double getFundamental() const override
    {
        return static_cast<double>(engine.getCurrentFundamental());
    }

    void reset() override
    {
        engine.reset();
        for (auto& channel : ready)
            channel.assign(static_cast<std::size_t>(getLatency()), 0.0F);
    }

    void process(float* const* channels, int numSamples) override
    {
        for (int start = 0; start < numSamples; start += blockSize)
            processBlock(channels, start, std::min(blockSize, numSamples - start));
        for (std::size_t channel = 0; channel < ready.size(); ++channel)
        {
            const auto end = ready[channel].begin() + numSamples;
            std::copy(ready[channel].begin(), end, channels[channel]);
            ready[channel].erase(ready[channel].begin(), end);
        }
    }

private:
    void processBlock(const float* const* channels, int start, int count)
    {
        Signal32 block(static_cast<int>(ready.size()), count);
        for (int channel = 0; channel < block.getNumChannels(); ++channel)
            std::copy_n(channels[channel] + start, count, block.getWriteChannelPtr(channel));
        const Signal32 result = engine.process(block, false);
        for (int channel = 0; channel < result.getNumChannels(); ++channel)
        {
            const float* const values = result.getReadChannelPtr(channel);
            auto& waiting = ready[static_cast<std::size_t>(channel)];
            waiting.insert(waiting.end(), values, values + result.getNumSamples());
        }
    }

    Kalimmer engine;
    int blockSize;
    std::vector<std::vector<float>> ready; // beginning with the silence of the latency
};

class LiveStream : public HumStream
{
public:
    LiveStream(double rate, int channels, const LiveRemover::Settings& settings)
    {
        remover.prepare(rate, channels, settings);
    }

    int getLatency() override { return remover.getLatency(); }

    double getFundamental() const override { return remover.getFundamental(); }

    void reset() override { remover.reset(); }

    void process(float* const* channels, int numSamples) override
    {
        remover.process(channels, numSamples);
    }

private:
    LiveRemover remover;
};

} // namespace

std::unique_ptr<HumStream> makeEngineStream(const EngineTask& task, int channels)
{
    return std::make_unique<EngineStream>(task, channels);
}

std::unique_ptr<HumStream> makeLiveStream(double rate, int channels,
                                          const LiveRemover::Settings& settings)
{
    return std::make_unique<LiveStream>(rate, channels, settings);
}

template <typename Sample>
StreamRunner<Sample>::StreamRunner(std::unique_ptr<HumStream> streamToUse, int numChannels,
                                   bool residual, double scale)
    : stream(std::move(streamToUse))
    , channels(numChannels)
    , playsResidual(residual)
    , normal{0.0, scale}
    , samples(static_cast<std::size_t>(numChannels))
{
    reset();
}

template <typename Sample>
int StreamRunner<Sample>::getLatency()
{
    const std::lock_guard lock(mutex);
    return stream->getLatency();
}

template <typename Sample>
double StreamRunner<Sample>::getFundamental()
{
    const std::lock_guard lock(mutex);
    return stream->getFundamental();
}

template <typename Sample>
void StreamRunner<Sample>::reset()
{
    const std::lock_guard lock(mutex);
    stream->reset();
    delayed.assign(static_cast<std::size_t>(channels),
                   std::vector<Sample>(static_cast<std::size_t>(stream->getLatency())));
}

template <typename Sample>
void StreamRunner<Sample>::process(const Recording<Sample>& recording, Sample* output)
{
    const std::lock_guard lock(mutex);
    run(recording, output);
}

template <typename Sample>
void StreamRunner<Sample>::flush(Sample* output)
{
    const int latency = getLatency();
    const std::vector<Sample> silence(static_cast<std::size_t>(latency));
    if (latency > 0)
        process({silence.data(), 0, channels, latency}, output);
    reset();
}

template <typename Sample>
void StreamRunner<Sample>::run(const Recording<Sample>& recording, Sample* output)
{
    const auto length = static_cast<std::size_t>(recording.length);
    const auto scale = static_cast<Sample>(normal.scale);
    std::vector<float*> pointers;
    for (int channel = 0; channel < channels; ++channel)
    {
        const Sample* const row = recording.row(channel);
        auto& values = samples[static_cast<std::size_t>(channel)];
        values.resize(length);
        std::transform(row, row + length, values.begin(),
                       [scale](Sample sample) {
                           return std::isfinite(sample) ? static_cast<float>(scale * sample) : 0.0F;
                       });
        pointers.push_back(values.data());
    }
    stream->process(pointers.data(), static_cast<int>(length));
    for (int channel = 0; channel < channels; ++channel)
        finish(channel, recording, output + channel * recording.length);
}

/// Turns what the stream gave for a channel into the output's precision and scale.
template <typename Sample>
void StreamRunner<Sample>::finish(int channel, const Recording<Sample>& recording, Sample* output)
{
    auto& waiting = delayed[static_cast<std::size_t>(channel)];
    waiting.insert(waiting.end(), recording.row(channel),
                   recording.row(channel) + recording.length);
    const auto unscale = static_cast<Sample>(1.0 / normal.scale);
    const bool isReady = std::is_same_v<Sample, float> || playsResidual;
    const auto length = static_cast<std::size_t>(recording.length);
    for (std::size_t n = 0; n < length; ++n)
    {
        const Sample value =
            unscale * static_cast<Sample>(samples[static_cast<std::size_t>(channel)][n]);
        const Sample cleaned = isReady ? value : waiting[n] - value;
        output[n] = playsResidual || std::isfinite(waiting[n]) ? cleaned : waiting[n];
    }
    waiting.erase(waiting.begin(), waiting.begin() + recording.length);
}

template class StreamRunner<float>;
template class StreamRunner<double>;

} // namespace kalim::python
