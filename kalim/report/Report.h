#pragma once

#include "kalim/HumSettings.h"
#include "kalim/TimeRange.h"
#include "presets/PresetCatalogue.h"
#include "kalim/report/HarmonicLevels.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kalim::program
{

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
    HumSettings settings;
    std::optional<Preset> preset;

    /// Samples per call of the processor.
    int blockSize = 0;

    /// Recording time divided by the time to read, process and write it.
    double timesRealTime = 0.0;

    float fundamentalAtStart = 0.0F;
    float fundamentalAtEnd = 0.0F;
    float lowestFundamental = 0.0F;
    float highestFundamental = 0.0F;

    std::optional<TimeRange> measured;
    std::vector<HarmonicLevels> harmonics;

    std::int64_t nonFiniteSamples = 0;
    std::int64_t clippedSamples = 0;
    std::vector<std::string> warnings;

    double getSeconds() const;

    /// For people: a few lines and a table.
    std::string toText() const;

    /// For programs: one JSON object. Levels are null where there was silence.
    std::string toJson() const;
};

} // namespace kalim::program
