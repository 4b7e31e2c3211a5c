#include "standalone/HumFinder.h"

#include "base/FileError.h"
#include "dsp/hum/HumParameters.h"

#include <algorithm>
#include <set>
#include <vector>

namespace kalim::standalone
{
namespace
{

using namespace orvo::audio::precise;

constexpr int samplesAtOnce = 1 << 16; // of all channels

/// How much of the time the first reading takes.
constexpr double surveyShare = 0.1;

// What the remover takes.
constexpr int lowestRate = 8000;
constexpr int highestRate = 384000;
constexpr int mostChannels = 64;

/// How far a harmonic must stand above its surroundings, in dB.
constexpr double leastProminence = 3.0;

/// As many odd harmonics show that there are no even ones.
constexpr std::ptrdiff_t fewestOdd = 3;

bool isOdd(int harmonic)
{
    return harmonic % 2 != 0;
}

} // namespace

void readInPieces(AudioFileReader& reader, const Progress& progress, const FrameTaker& taker)
{
    const auto numChannels = static_cast<std::size_t>(reader.getNumChannels());
    const std::size_t framesAtOnce = std::max<std::size_t>(1, samplesAtOnce / numChannels);
    std::vector<float> interleaved(framesAtOnce * numChannels);
    std::vector<float> separate(interleaved.size());
    std::vector<const float*> channels;
    for (std::size_t channel = 0; channel < numChannels; ++channel)
        channels.push_back(separate.data() + channel * framesAtOnce);
    reader.seek(0);
    while (const std::int64_t count = reader.read(interleaved))
    {
        progress.check();
        for (std::size_t channel = 0; channel < numChannels; ++channel)
            for (std::size_t frame = 0; frame < static_cast<std::size_t>(count); ++frame)
                separate[channel * framesAtOnce + frame] =
                    interleaved[frame * numChannels + channel];
        taker(channels.data(), static_cast<int>(count));
    }
}

HumSummary readPrecisely(const std::filesystem::path& file, Progress& progress,
                         const PreciseRemover::Sink& sink)
{
    AudioFileReader reader(file);
    const int rate = reader.getSampleRate();
    const int numChannels = reader.getNumChannels();
    if (rate < lowestRate || rate > highestRate || numChannels > mostChannels)
        throw FileError(file, "has a sample rate or a number of channels that cannot be analysed");
    const auto numFrames = static_cast<double>(std::max<std::int64_t>(1, reader.getNumFrames()));

    HumSurvey survey(rate, numChannels, {});
    readInPieces(reader, progress,
                 [&](const float* const* channels, int count)
                 {
                     survey.add(channels, count);
                     progress.update(surveyShare * static_cast<double>(reader.getPosition()) /
                                     numFrames);
                 });
    double done = 0.0;
    PreciseRemover remover(rate, numChannels, survey.finish(),
                           [&](const float* const* samples, const float* const* hum, int count)
                           {
                               sink(samples, hum, count);
                               done += count;
                               progress.update(surveyShare +
                                               (1.0 - surveyShare) * done / numFrames);
                           });
    readInPieces(reader, progress,
                 [&](const float* const* channels, int count) { remover.add(channels, count); });
    remover.finish();
    return remover.getSummary();
}

std::optional<FoundHum> findHum(const std::filesystem::path& file, Progress& progress)
{
    const HumSummary summary = readPrecisely(file, progress, [](auto, auto, int) {});
    if (!summary.hasHum())
        return std::nullopt;
    std::set<int> prominent;
    for (const HarmonicSummary& harmonic : summary.getHarmonics())
        if (harmonic.getProminence() >= leastProminence)
            prominent.insert(harmonic.harmonic);
    const auto numOdd = std::count_if(prominent.begin(), prominent.end(), isOdd);
    const bool isOnlyOdd =
        numOdd >= fewestOdd && numOdd == static_cast<std::ptrdiff_t>(prominent.size());
    const int highest = prominent.empty() ? 1 : *prominent.rbegin();
    const int count = isOnlyOdd ? (highest + 1) / 2 : highest;
    return FoundHum{summary.getMeanFrequency(),
                    std::min(count, orvo::audio::maximumNumberOfHarmonics), isOnlyOdd,
                    summary.getKind()};
}

void applyHum(BasePlugInProcessor& plugIn, const FoundHum& hum)
{
    const auto set = [&plugIn](orvo::audio::HumParameterId id, double value)
    {
        float min = 0.0F;
        float max = 1.0F;
        plugIn.getBaseProcessor()->getParameterRange(id, min, max);
        const int index = plugIn.findPublicParameterIndex(id);
        plugIn.beginParameterGesture(index);
        // Which tells the editor, but not the host.
        plugIn.setParameter(index, (static_cast<float>(value) - min) / (max - min));
        plugIn.notifyInternalParameterChange(id);
        plugIn.endParameterGesture(index);
    };
    plugIn.addUndoState();
    set(orvo::audio::FundamentalFrequency, hum.frequency);
    set(orvo::audio::NumberOfHarmonics, hum.numHarmonics);
    set(orvo::audio::OnlyOddHarmonics, hum.isOnlyOdd ? 1.0 : 0.0);
}

} // namespace kalim::standalone
