#pragma once

#include "audiofile/AudioFileReader.h"
#include "dsp/precise/PreciseRemover.h"
#include "kalim/HumStream.h"
#include "kalim/MeasuredRange.h"

#include <functional>
#include <memory>
#include <vector>

namespace kalim::program
{

/// Told the share of a reading that is done, 0 to 1.
using Progress = std::function<void(double share)>;

/// What the survey takes of the time of both readings, about.
inline constexpr double surveyShare = 0.15;

/// Reads a recording once from its start to find out which fundamental it speaks for, and goes back
/// to the start; where the settings leave no choice it is not read. Throws FileError.
orvo::audio::precise::PreciseSettings
surveyRecording(AudioFileReader& reader, const orvo::audio::precise::PreciseSettings& settings,
                const Progress& progress);

/// Settings with the hum's shape from a part of the recording where nothing else sounds; goes back
/// to the start. Throws FileError, also where there is no hum in that part.
orvo::audio::precise::PreciseSettings
learnFromRecording(AudioFileReader& reader, const orvo::audio::precise::PreciseSettings& settings,
                   const MeasuredSamples& part);

/// Given the samples of every channel in order, those that are no finite numbers as silence, and
/// the hum in them.
using HeardHum = orvo::audio::precise::PreciseRemover::Sink;

/// Reads a recording twice and tells what hum it holds; goes back to the start. Throws FileError.
orvo::audio::precise::HumSummary detectHum(
    AudioFileReader& reader, const orvo::audio::precise::PreciseSettings& settings,
    const Progress& progress,
    const HeardHum& heard = [](const float* const*, const float* const*, int) {});

/// Runs a recording through precise removal.
class PreciseStream : public HumStream
{
public:
    /// `settings` as surveyRecording() gives them. With `playsResidual` what is removed comes out.
    PreciseStream(orvo::audio::precise::PreciseSettings settings, bool playsResidual, int channels,
                  int sampleRate);

    int getBlockSize() const override { return 1; }

    void process(std::span<const float> interleaved, const Sink& sink) override;
    void finish(const Sink& sink) override;

    bool canRemove() const override { return true; }

    std::int64_t getNumNonFinite() const override { return numNonFinite; }

    const orvo::audio::precise::HumSummary& getSummary() const { return remover.getSummary(); }

private:
    void deliver(const float* const* samples, const float* const* hum, int count);

    bool playsResidual;
    const Sink* sink = nullptr; // while a call runs
    std::int64_t numNonFinite = 0;
    std::vector<std::vector<float>> channels;
    std::vector<float> output;
    orvo::audio::precise::PreciseRemover remover;
};

} // namespace kalim::program
