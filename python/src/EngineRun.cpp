#include "python/src/EngineRun.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace kalim::python
{
namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

/// Blocks between two checkpoints.
constexpr int checkedBlocks = 256;

bool isResidual(const EngineTask& task)
{
    return task.values[orvo::audio::ResidualMode] > 0.5F;
}

/// Whether single-precision samples go through the engine as they are; otherwise what it removes
/// is subtracted from them.
template <typename Sample>
bool passesThrough(const Recording<Sample>& recording)
{
    return std::is_same_v<Sample, float> && recording.normals.empty();
}

template <typename Sample>
class EngineOutput
{
public:
    EngineOutput(const Recording<Sample>& recordingToUse, bool residual, Sample* outputToUse)
        : recording(recordingToUse)
        , playsResidual(residual)
        , output(outputToUse)
    {
    }

    bool isComplete() const { return position == recording.length; }

    void take(const Signal32& result)
    {
        const auto count = static_cast<int>(
            std::min<std::int64_t>(result.getNumSamples(), recording.length - position));
        for (int channel = 0; channel < recording.channels && count > 0; ++channel)
            fill(channel, result.getReadChannelPtr(channel), count);
        position += count;
    }

private:
    void fill(int channel, const float* processed, int count) const
    {
        const Sample* const samples = recording.row(channel) + position;
        Sample* const result = output + channel * recording.length + position;
        const auto scale = static_cast<Sample>(1.0 / recording.normalOf(channel).scale);
        const bool isReady = passesThrough(recording) || playsResidual;
        for (int n = 0; n < count; ++n)
        {
            const Sample value = scale * static_cast<Sample>(processed[n]);
            const Sample cleaned = isReady ? value : samples[n] - value;
            result[n] = playsResidual || std::isfinite(samples[n]) ? cleaned : samples[n];
        }
    }

    const Recording<Sample>& recording;
    bool playsResidual;
    Sample* output;
    std::int64_t position = 0;
};

/// The next block from `start` on, with silence for what is no finite number.
template <typename Sample>
Signal32 copyBlock(const Recording<Sample>& recording, Pieces<Sample>& pieces, std::int64_t start,
                   std::int64_t length)
{
    const auto count = static_cast<int>(std::min(length, recording.length - start));
    const float* const* const samples = pieces.read(start, count);
    Signal32 block(recording.channels, count);
    for (int channel = 0; channel < recording.channels; ++channel)
        std::transform(samples[channel], samples[channel] + count,
                       block.getWriteChannelPtr(channel),
                       [](float sample) { return std::isfinite(sample) ? sample : 0.0F; });
    return block;
}

} // namespace

int prepareEngine(Kalimmer& engine, const EngineTask& task, int channels)
{
    for (const auto& parameter : orvo::audio::humParameters)
        engine.setParameterValue(parameter.id, task.values[parameter.id], false);
    orvo::audio::AudioFormat format;
    format.createDefaultChannelMapping(channels);
    format.sampleRate = task.rate;
    engine.setDisplayed(false);
    engine.maximumBlockSize = task.blockSize;
    engine.setFormat(format, format);
    return std::min(task.blockSize, engine.getHopSize());
}

template <typename Sample>
void runEngine(const Recording<Sample>& recording, const EngineTask& task, Sample* output,
               const Checkpoint& checkpoint)
{
    EngineTask used = task;
    if (!passesThrough(recording))
        used.values[orvo::audio::ResidualMode] = 1.0F;
    Kalimmer engine;
    const std::int64_t blockSize = prepareEngine(engine, used, recording.channels);
    EngineOutput<Sample> result(recording, isResidual(task), output);
    Pieces<Sample> pieces(recording);
    for (std::int64_t start = 0; !result.isComplete(); start += blockSize)
    {
        if (start / blockSize % checkedBlocks == 0)
            checkpoint();
        // After the last sample silence pushes out what the engine holds.
        const bool isOver = start >= recording.length;
        result.take(
            engine.process(isOver ? Signal32(recording.channels, static_cast<int>(blockSize), 0.0F)
                                  : copyBlock(recording, pieces, start, blockSize),
                           false));
    }
}

template void runEngine(const Recording<float>&, const EngineTask&, float*, const Checkpoint&);
template void runEngine(const Recording<double>&, const EngineTask&, double*, const Checkpoint&);

} // namespace kalim::python
