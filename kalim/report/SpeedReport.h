#pragma once

#include "audiofile/OutputFile.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kalim::program
{

/// How much faster than it was recorded a recording runs, by the hum of the mains, which is taken
/// for right. Percent; positive means too fast and too high.
struct SpeedError
{
    double mains; ///< Hz
    double mean;
    double lowest;
    double highest;

    /// What the speed must be multiplied by to be right on average.
    double getCorrection() const;
};

/// The same in hundredths of a semitone.
double toCents(double percent);

/// The course of the speed, gathered while a recording is cleaned.
class SpeedCourse
{
public:
    /// The hum's fundamental in Hz at a time in seconds; times rise.
    void add(double seconds, double fundamental) { moments.push_back({seconds, fundamental}); }

    /// Against 50 or 60 Hz, whichever is nearer in pitch, unless the mains are known. Nothing
    /// where nothing was added.
    std::optional<SpeedError> summarise(std::optional<double> knownMains) const;

    /// A table of comma-separated values, or a picture over `seconds` of recording, as the file's
    /// name asks for. Throws FileError.
    void write(OutputFile& output, const std::optional<SpeedError>& error, double seconds,
               const std::string& title) const;

    struct Moment
    {
        double seconds;
        double fundamental;
    };

private:
    std::vector<Moment> moments;
};

/// Throws FileError for a name that ends neither in .csv nor like a picture.
void requireSpeedReportName(const std::filesystem::path& path);

} // namespace kalim::program
