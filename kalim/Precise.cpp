#include "kalim/Precise.h"

#include "base/FileError.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalim::program
{
namespace
{

using orvo::audio::precise::HumSummary;
using orvo::audio::precise::HumSurvey;
using orvo::audio::precise::PreciseRemover;
using orvo::audio::precise::PreciseSettings;

/// Seconds of a part that are heard to learn from it.
constexpr double mostLearned = 32.0;

/// Sets samples of each channel apart. Those that are no finite numbers become silence; gives their
/// number.
std::int64_t setApart(std::span<const float> interleaved, std::vector<std::vector<float>>& channels)
{
    std::int64_t numNonFinite = 0;
    const std::size_t step = channels.size();
    const std::size_t length = interleaved.size() / step;
    for (std::size_t channel = 0; channel < step; ++channel)
    {
        channels[channel].resize(length);
        for (std::size_t n = 0; n < length; ++n)
        {
            const float sample = interleaved[n * step + channel];
            const bool isFinite = std::isfinite(sample);
            channels[channel][n] = isFinite ? sample : 0.0F;
            numNonFinite += isFinite ? 0 : 1;
        }
    }
    return numNonFinite;
}

std::vector<const float*> pointersTo(const std::vector<std::vector<float>>& channels)
{
    std::vector<const float*> pointers;
    for (const auto& channel : channels)
        pointers.push_back(channel.data());
    return pointers;
}

/// Gives a whole recording to `take`, channel by channel, and goes back to its start.
template <typename Take>
void readAll(AudioFileReader& reader, const Progress& progress, const Take& take)
{
    const int numChannels = reader.getNumChannels();
    std::vector<float> samples(static_cast<std::size_t>(std::max(readSize / numChannels, 1)) *
                               static_cast<std::size_t>(numChannels));
    std::vector<std::vector<float>> channels(static_cast<std::size_t>(numChannels));
    std::int64_t position = 0;
    while (const std::int64_t count = reader.read(samples))
    {
        setApart(std::span<const float>(samples).first(static_cast<std::size_t>(count) *
                                                       static_cast<std::size_t>(numChannels)),
                 channels);
        take(pointersTo(channels).data(), static_cast<int>(count));
        position += count;
        progress(static_cast<double>(position) / static_cast<double>(reader.getNumFrames()));
    }
    reader.seek(0);
}

} // namespace

PreciseSettings surveyRecording(AudioFileReader& reader, const PreciseSettings& settings,
                                const Progress& progress)
{
    if (settings.ranges.size() == 1)
        return settings;
    HumSurvey survey(reader.getSampleRate(), reader.getNumChannels(), settings);
    readAll(reader, progress,
            [&](const float* const* channels, int count) { survey.add(channels, count); });
    return survey.finish();
}

PreciseSettings learnFromRecording(AudioFileReader& reader, const PreciseSettings& settings,
                                   const MeasuredSamples& part)
{
    const double rate = reader.getSampleRate();
    const std::int64_t length =
        std::min<std::int64_t>(part.getLength(), std::llround(mostLearned * rate));
    std::vector<float> samples(static_cast<std::size_t>(length) *
                               static_cast<std::size_t>(reader.getNumChannels()));
    reader.seek(part.getFirst());
    const std::int64_t count = reader.read(samples);
    reader.seek(0);
    std::vector<std::vector<float>> channels(static_cast<std::size_t>(reader.getNumChannels()));
    setApart(samples, channels);
    orvo::audio::precise::ChannelView view{{}, static_cast<int>(count), rate};
    for (const auto& channel : channels)
        view.channels.push_back(channel.data());
    const auto learned = learnHum(view, settings);
    if (!learned)
        throw FileError(reader.getPath(), "no hum was found in the part to learn it from");
    return *learned;
}

HumSummary detectHum(AudioFileReader& reader, const PreciseSettings& settings,
                     const Progress& progress, const HeardHum& heard)
{
    PreciseRemover remover(
        reader.getSampleRate(), reader.getNumChannels(),
        surveyRecording(reader, settings, [&](double share) { progress(surveyShare * share); }),
        heard);
    readAll(
        reader, [&](double share) { progress(surveyShare + (1.0 - surveyShare) * share); },
        [&](const float* const* channels, int count) { remover.add(channels, count); });
    remover.finish();
    return remover.getSummary();
}

PreciseStream::PreciseStream(PreciseSettings settings, bool residual, int numChannels,
                             int sampleRate)
    : playsResidual(residual)
    , channels(static_cast<std::size_t>(numChannels))
    , remover(sampleRate, numChannels, std::move(settings),
              [this](const float* const* samples, const float* const* hum, int count)
              { deliver(samples, hum, count); })
{
}

void PreciseStream::process(std::span<const float> interleaved, const Sink& sinkToUse)
{
    sink = &sinkToUse;
    numNonFinite += setApart(interleaved, channels);
    remover.add(pointersTo(channels).data(), static_cast<int>(channels.front().size()));
}

void PreciseStream::finish(const Sink& sinkToUse)
{
    sink = &sinkToUse;
    remover.finish();
}

void PreciseStream::deliver(const float* const* samples, const float* const* hum, int count)
{
    const std::size_t step = channels.size();
    for (int start = 0; start < count; start += readSize)
    {
        const int length = std::min(readSize, count - start);
        output.resize(static_cast<std::size_t>(length) * step);
        for (std::size_t channel = 0; channel < step; ++channel)
            for (int n = 0; n < length; ++n)
            {
                const float removed = hum[channel][start + n];
                output[static_cast<std::size_t>(n) * step + channel] =
                    playsResidual ? removed : samples[channel][start + n] - removed;
            }
        (*sink)(output);
    }
}

} // namespace kalim::program
