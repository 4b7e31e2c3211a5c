#include "python/src/PreciseRun.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace kalim::python
{
namespace
{

using orvo::audio::precise::ChannelView;
using orvo::audio::precise::HumSummary;
using orvo::audio::precise::HumSurvey;
using orvo::audio::precise::PreciseRemover;
using orvo::audio::precise::PreciseSettings;

/// About how many samples of all channels are read at once.
constexpr int readSize = 1 << 16;

/// Seconds of a part that are heard to learn from it.
constexpr double mostLearned = 32.0;

template <typename Sample, typename Take>
void readAll(const Recording<Sample>& recording, const Checkpoint& checkpoint, const Take& take)
{
    Pieces<Sample> pieces(recording);
    const std::int64_t most = std::max(readSize / recording.channels, 1);
    for (std::int64_t start = 0; start < recording.length; start += most)
    {
        checkpoint();
        const auto count = static_cast<int>(std::min(most, recording.length - start));
        take(pieces.read(start, count), count);
    }
}

template <typename Sample>
PreciseSettings learn(const Recording<Sample>& recording, const PreciseTask& task, Part part)
{
    const auto count = static_cast<int>(
        std::min<std::int64_t>(part.length, std::llround(mostLearned * task.rate)));
    Pieces<Sample> pieces(recording);
    const float* const* const samples = pieces.read(part.first, count);
    std::vector<std::vector<float>> mended;
    ChannelView view{{}, count, task.rate};
    for (int channel = 0; channel < recording.channels; ++channel)
    {
        auto& copy = mended.emplace_back(samples[channel], samples[channel] + count);
        std::replace_if(
            copy.begin(), copy.end(), [](float sample) { return !std::isfinite(sample); }, 0.0F);
        view.channels.push_back(copy.data());
    }
    const auto learned = learnHum(view, task.settings);
    if (!learned)
        throw std::invalid_argument("learn: no hum was found in the part to learn it from");
    return *learned;
}

template <typename Sample>
PreciseSettings decide(const Recording<Sample>& recording, const PreciseTask& task,
                       const Checkpoint& checkpoint)
{
    if (task.learned)
        return learn(recording, task, *task.learned);
    if (task.settings.ranges.size() == 1)
        return task.settings;
    HumSurvey survey(task.rate, recording.channels, task.settings);
    readAll(recording, checkpoint,
            [&survey](const float* const* channels, int count) { survey.add(channels, count); });
    return survey.finish();
}

/// Subtracts hum from what came in, in the precision of that.
template <typename Sample>
class Subtraction
{
public:
    Subtraction(const Recording<Sample>& recordingToUse, bool residual, Sample* outputToUse)
        : recording(recordingToUse)
        , playsResidual(residual)
        , output(outputToUse)
    {
    }

    void take(const float* const* hum, int count)
    {
        for (int channel = 0; channel < recording.channels && output != nullptr; ++channel)
        {
            const auto scale = static_cast<Sample>(1.0 / recording.normalOf(channel).scale);
            const Sample* const samples = recording.row(channel) + position;
            Sample* const result = output + channel * recording.length + position;
            for (int n = 0; n < count; ++n)
            {
                const Sample removed = scale * static_cast<Sample>(hum[channel][n]);
                result[n] = playsResidual ? removed : samples[n] - removed;
            }
        }
        position += count;
    }

private:
    const Recording<Sample>& recording;
    bool playsResidual;
    Sample* output;
    std::int64_t position = 0;
};

} // namespace

template <typename Sample>
HumSummary runPrecise(const Recording<Sample>& recording, const PreciseTask& task, Sample* output,
                      const Checkpoint& checkpoint)
{
    Subtraction<Sample> subtraction(recording, task.residual, output);
    PreciseRemover remover(task.rate, recording.channels, decide(recording, task, checkpoint),
                           [&](const float* const*, const float* const* hum, int count)
                           { subtraction.take(hum, count); });
    readAll(recording, checkpoint,
            [&remover](const float* const* channels, int count) { remover.add(channels, count); });
    remover.finish();
    return remover.getSummary();
}

template HumSummary runPrecise(const Recording<float>&, const PreciseTask&, float*,
                               const Checkpoint&);
template HumSummary runPrecise(const Recording<double>&, const PreciseTask&, double*,
                               const Checkpoint&);

} // namespace kalim::python
