#pragma once

#include "audiofile/OutputFile.h"
#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/Kalimmer.h"

#include <filesystem>
#include <string>
#include <vector>

namespace kalim::program
{

/// Where the tracked fundamental went, in Hz.
class TrackingSummary
{
public:
    /// `startFrequency` stands for all of it until there is a first value.
    explicit TrackingSummary(float startFrequency = 0.0F);

    void add(float frequency);

    float getStart() const { return start; }

    float getEnd() const { return end; }

    float getLowest() const { return lowest; }

    float getHighest() const { return highest; }

    float getMean() const { return count > 0 ? static_cast<float>(sum / count) : start; }

private:
    float start;
    float end;
    float lowest;
    float highest;
    double sum = 0.0;
    double count = 0.0;
};

/// The course of the tracking as a table of comma-separated values: a row per analysis with the
/// time in seconds, the tracked fundamental in Hz and the numbers of the harmonics present, between
/// spaces.
class TraceFile
{
public:
    /// Throws FileError, as OutputFile does.
    TraceFile(const std::filesystem::path& path, Existing existing);

    /// Writes a row; `selection` is that of the engine. Throws FileError.
    void add(double seconds, const orvo::audio::Kalimmer& engine,
             orvo::audio::HarmonicSelection selection);

    /// The same from what precise removal found: harmonics that are there all the time.
    void add(double seconds, double fundamental, const std::vector<int>& harmonics);

    /// Makes the file complete and durable. Throws FileError.
    void finish();

    /// Puts the finished file under its name. Throws FileError.
    void commit() { file.commit(); }

private:
    void addRow(double seconds, double fundamental, const std::string& harmonics);
    void write();

    OutputFile file;
    std::string text;
};

} // namespace kalim::program
