#pragma once

#include "kalim/HumSettings.h"
#include "kalim/TimeRange.h"
#include "audiofile/OutputFormat.h"
#include "presets/PresetCatalogue.h"

#include <filesystem>
#include <optional>
#include <stdexcept>

namespace kalim::program
{

/// The command line was wrong; what() is the one line to show.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Everything that the command line says.
struct Options
{
    std::filesystem::path input;
    std::filesystem::path output;
    HumSettings settings;

    /// Where the settings are from, as far as the command line does not give them.
    std::optional<Preset> preset;

    int blockSize = 512;
    FormatRequest format;
    std::optional<TimeRange> measured;
    std::optional<std::filesystem::path> trace;
    std::optional<std::filesystem::path> plot;
    bool overwrites = false;
    bool isQuiet = false;
    bool reportsJson = false;

    /// Show the presets and do nothing else; there need not be an input and an output then.
    bool listsPresets = false;
};

/// Reads the command line. Returns nothing when it asked for help or the version, which are then on
/// standard output. Throws UsageError, and FileError for a preset that cannot be read.
std::optional<Options> parseOptions(int argc, const char* const* argv);

} // namespace kalim::program
