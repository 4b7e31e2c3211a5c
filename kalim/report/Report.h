#pragma once

#include "audiofile/SoundChecksum.h"
#include "dsp/precise/HumSummary.h"
#include "kalim/HumSettings.h"
#include "kalim/MeasuredRange.h"
#include "kalim/report/SpectrumMeter.h"
#include "kalim/report/SpeedReport.h"
#include "kalim/report/Tracking.h"
#include "presets/PresetCatalogue.h"
#include "presets/PresetFolders.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kalim::program
{

/// Of the samples that were read and of those that were written.
struct ReportChecksums
{
    SoundChecksums input;
    SoundChecksums output;
};

/// What was done to a recording.
struct Report
{
    std::string input;
    std::string output;
    std::string inputFormat;
    std::string outputFormat;
    int sampleRate = 0;
    int channels = 0;
    std::int64_t samples = 0;

    /// "precise", "tracking" or "notch"
    std::string method;

    /// What precise removal found, and the share of it that was taken off; none from the engine.
    std::optional<orvo::audio::precise::HumSummary> hum;
    double strength = 1.0;

    /// Where the shape of the hum was learnt, if it was.
    std::optional<MeasuredRange> learned;

    /// Of the engine.
    HumSettings settings;
    std::optional<Preset> preset;

    /// Samples per call of the engine.
    int blockSize = 0;

    /// Recording time divided by the time to read, process and write it.
    double timesRealTime = 0.0;

    TrackingSummary tracking;
    std::optional<MeasuredRange> measured;
    std::vector<HarmonicLevels> harmonics;

    std::int64_t nonFiniteSamples = 0;
    std::int64_t clippedSamples = 0;
    std::vector<std::string> warnings;

    /// Where they were asked for.
    std::optional<SpeedError> speed;
    std::optional<ReportChecksums> checksums;

    /// Whether sound of the input is missing, of which a warning tells.
    bool isSalvaged = false;

    double getSeconds() const;

    /// For people: a few lines and a table.
    std::string toText() const;

    /// For programs: one JSON object. Levels are null where there was silence, the fundamental is
    /// where precise removal found no hum.
    std::string toJson() const;
};

/// Listed presets below headings of their folders, for people.
std::string presetsToText(const std::vector<Preset>& presets, const PresetFolders& folders);

/// For programs: one JSON object with both folders, null where there is none, and the presets in
/// their order.
std::string presetsToJson(const std::vector<Preset>& presets, const PresetFolders& folders);

} // namespace kalim::program
