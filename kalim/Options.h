#pragma once

#include "audiofile/OutputFormat.h"
#include "dsp/precise/PreciseRemover.h"
#include "kalim/HumSettings.h"
#include "kalim/MeasuredRange.h"
#include "kalim/batch/BatchOptions.h"
#include "kalim/streams/StreamOptions.h"
#include "presets/PresetCatalogue.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// The command line was wrong; what() is the one line to show.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What the action returns; an error of that kind is told as one of usage.
template <typename Error, typename Action>
auto withUsageError(const char* prefix, const Action& action)
{
    try
    {
        return action();
    }
    catch (const Error& error)
    {
        throw UsageError(std::string(prefix) + error.what());
    }
}

/// How hum is removed.
enum class Method
{
    precise,  ///< the whole recording is looked at, twice
    tracking, ///< the hum engine follows the hum as it comes
    notch     ///< the same engine with its notches
};

/// "precise", "tracking" or "notch"
const char* nameOf(Method method);

/// Everything that the command line says.
struct Options
{
    std::filesystem::path input;
    std::filesystem::path output;

    /// What reports call the input, where its path does not tell.
    std::string inputName;
    StreamOptions streams;

    /// The stream of sound to clean where the input is a film.
    std::optional<int> stream;
    Method method = Method::precise;

    /// Of the hum engine; precise removal takes ResidualMode from them.
    HumSettings settings;

    /// Settings that come from the recording: any of FundamentalFrequency, NumberOfHarmonics and
    /// OnlyOddHarmonics.
    std::set<orvo::audio::HumParameterId> automatic;

    /// Of precise removal, and of what looks for the automatic settings.
    orvo::audio::precise::PreciseSettings precise;

    /// Where precise removal learns the shape of the hum, if anywhere.
    std::optional<MeasuredRange> learned;

    /// Where the settings come from that the command line does not give.
    std::optional<Preset> preset;

    int blockSize = 512;
    FormatRequest format;

    /// 0 to 10, of lossy outputs.
    std::optional<double> quality;
    std::optional<MeasuredRange> measured;
    std::optional<std::filesystem::path> trace;
    std::optional<std::filesystem::path> plot;

    /// Tables and pictures of the speed error, and the mains' frequency in Hz where it is known.
    std::vector<std::filesystem::path> speedReports;
    std::optional<double> mains;

    /// Whether the samples get checksums.
    bool makesChecksums = false;

    /// Where the origin of the output is told, if it is.
    std::optional<std::filesystem::path> provenance;
    bool overwrites = false;

    /// Whether even another recording may be replaced.
    bool overwritesAnything = false;

    /// Whether what can be read of a damaged file is cleaned.
    bool salvages = false;
    bool isQuiet = false;
    bool reportsJson = false;

    /// Show the presets and do nothing else; input and output are empty then.
    bool listsPresets = false;

    /// A run over many files, which has no single input and output.
    std::optional<BatchOptions> batch;
};

/// Reads the command line. Returns nothing when it asked for help or the version, which are then on
/// standard output. Throws UsageError, and FileError for a preset that cannot be read.
std::optional<Options> parseOptions(int argc, const char* const* argv);

/// Hands over the options that parseOptions() knows, from which manual and completions are made.
void visitOptions(const std::function<void(CLI::App&)>& visit);

} // namespace kalim::program
