#include "kalim/Detection.h"

#include "base/Folders.h"
#include "kalim/Options.h"
#include "kalim/PreciseOptions.h"
#include "kalim/batch/JobPool.h"
#include "kalim/detect/DetectionRun.h"
#include "kalim/streams/StreamOptions.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

namespace kalim::program
{
namespace
{

constexpr const char* verbDescription =
    "Tells whether recordings hold hum: its fundamental with one sigma, its kind (steady, tape,\n"
    "switched or breathing), when it changes at once, and how far its harmonics stand out of a\n"
    "spectrum of a second. Tells also what else quality control asks: loudness and its range\n"
    "(EBU R 128), true peak, what was clipped, where sound drops out, channels that are silent\n"
    "or equal, and how much precise removal would take off. Changes nothing.";

constexpr const char* footer =
    "Of folders, files with the endings of sound are looked at, and shown as a table.\n"
    "Clipped: three samples and more at the highest or lowest value that a channel ever has, at\n"
    "which the wave breaks off. Dropped out: one value, 0 or another, for a millisecond and more\n"
    "with sound right before and behind it. Both are counted for each channel by itself.\n"
    "\n"
    "Exit codes: 0 done, 1 a file could not be read, or not all of it, 2 wrong usage.";

/// The verb's command line.
class DetectionCommand
{
public:
    DetectionCommand()
    {
        app.footer(footer);
        app.set_help_flag("-h,--help", "Show this help and exit");
        app.add_option("FILE", files, "Audio files and folders to look at; - for standard input")
            ->required()
            ->type_name("FILE");
        precise.addFundamental(app, "Options");
        streams.add(app, "Options");
        app.add_flag("-r,--recursive", options.isRecursive, "Also the folders in folders");
        app.add_option("--jobs", numJobs, "Files at a time (default: as many as there are cores)")
            ->check(CLI::Range(std::size_t{1}, std::size_t{1024}))
            ->type_name("N");
        const auto addStyle = [this](const char* name, DetectionStyle which, const char* help)
        {
            app.add_flag_callback(
                   name, [this, which] { setStyle(which); }, help)
                ->group("Reports");
        };
        addStyle("--table", DetectionStyle::table, "A line per file (default for folders)");
        addStyle("--csv", DetectionStyle::csv, "A row per file as CSV on standard output");
        addStyle("--json", DetectionStyle::json, "Report as JSON on standard output");
        app.add_flag("-q,--quiet", options.isQuiet, "No progress, and of each file the hum alone")
            ->group("Reports");
    }

    /// Nothing when help was asked for and given.
    std::optional<DetectionOptions> parse(int argc, const char* const* argv)
    {
        try
        {
            app.parse(argc, argv);
        }
        catch (const CLI::Success& success)
        {
            app.exit(success, std::cout, std::cerr);
            return std::nullopt;
        }
        catch (const CLI::ParseError& error)
        {
            const std::string text = error.what();
            throw UsageError(text.substr(0, text.find('\n')));
        }
        return collect();
    }

    CLI::App& getApp() { return app; }

private:
    void setStyle(DetectionStyle asked)
    {
        if (style && *style != asked)
            throw UsageError("--table, --csv, --json: only one of them can be given");
        style = asked;
    }

    DetectionOptions collect()
    {
        options.request.settings =
            withUsageError<std::invalid_argument>("", [&] { return precise.parse(); });
        options.inputs.assign(files.begin(), files.end());
        FormatRequest none;
        options.raw = streams.parse("", none).rawInput;
        if (options.raw && files.size() != 1)
            throw UsageError("--raw: is for one FILE");
        if (std::ranges::count(options.inputs, streamName) > 1)
            throw UsageError("-: can be read once");
        options.numJobs = chooseNumJobs(numJobs);
        const bool hasFolder = std::ranges::any_of(options.inputs, isFolder);
        options.style = style.value_or(hasFolder && !options.isQuiet ? DetectionStyle::table
                                                                     : DetectionStyle::text);
        options.request.isBrief = options.isQuiet;
        options.request.measuresQuality = !options.isQuiet || options.style != DetectionStyle::text;
        return options;
    }

    CLI::App app{verbDescription, "kalim detect"};
    DetectionOptions options;
    std::vector<std::string> files;
    std::size_t numJobs = 0;
    std::optional<DetectionStyle> style;
    PreciseOptions precise;
    StreamOptionTexts streams;
};

} // namespace

int runDetection(int argc, const char* const* argv)
{
    const auto options = DetectionCommand().parse(argc, argv);
    if (!options)
        return 0;
    return lookAtInputs(*options);
}

void visitDetectionOptions(const std::function<void(CLI::App&)>& visit)
{
    visit(DetectionCommand().getApp());
}

} // namespace kalim::program
