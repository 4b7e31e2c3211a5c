#include "kalim/Detection.h"

#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Options.h"
#include "kalim/PreciseOptions.h"
#include "kalim/batch/BatchProgress.h"
#include "kalim/batch/InputList.h"
#include "kalim/batch/JobPool.h"
#include "kalim/detect/DetectionOutput.h"
#include "kalim/detect/FileFindings.h"
#include "kalim/report/ProgressBar.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <new>
#include <optional>

namespace kalim::program
{
namespace
{

constexpr const char* description =
    "Tells whether recordings hold hum: its fundamental with one sigma, its kind (steady, tape,\n"
    "switched or breathing), when it changes at once, and how far its harmonics stand out of a\n"
    "spectrum of a second. Tells also what else quality control asks: loudness and its range\n"
    "(EBU R 128), true peak, what was clipped, where sound drops out, channels that are silent\n"
    "or equal, and how much precise removal would take off. Changes nothing.";

constexpr const char* footer =
    "Of folders, files with the endings of sound are looked at, and shown as a table.\n"
    "Clipped: three samples and more at the highest or lowest value that a channel ever has, into\n"
    "which the wave breaks off. Dropped out: one value, 0 or another, for a millisecond and more\n"
    "with sound right before and behind it. Both are counted for each channel by itself.\n"
    "\n"
    "Exit codes: 0 done, 1 a file could not be read, or not all of it, 2 wrong usage.";

struct DetectionOptions
{
    std::vector<std::filesystem::path> inputs;
    DetectionRequest request;
    DetectionStyle style = DetectionStyle::text;
    bool isRecursive = false;
    int numJobs = 1;
    bool isQuiet = false;
};

bool isFolder(const std::filesystem::path& input)
{
    std::error_code failed;
    return std::filesystem::is_directory(input, failed);
}

/// The verb's command line.
class DetectionCommand
{
public:
    DetectionCommand()
    {
        app.footer(footer);
        app.set_help_flag("-h,--help", "Show this help and exit");
        app.add_option("FILE", files, "Audio files and folders to look at")
            ->required()
            ->type_name("FILE");
        precise.addFundamental(app, "Options");
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
        options.numJobs = chooseNumJobs(numJobs);
        const bool hasFolder = std::ranges::any_of(options.inputs, isFolder);
        options.style = style.value_or(hasFolder && !options.isQuiet ? DetectionStyle::table
                                                                     : DetectionStyle::text);
        options.request.isBrief = options.isQuiet;
        options.request.measuresQuality = !options.isQuiet || options.style != DetectionStyle::text;
        return options;
    }

    CLI::App app{description, "kalim detect"};
    DetectionOptions options;
    std::vector<std::string> files;
    std::size_t numJobs = 0;
    std::optional<DetectionStyle> style;
    PreciseOptions precise;
};

std::uintmax_t totalSize(const InputList& inputs)
{
    std::uintmax_t bytes = 0;
    for (const InputFile& file : inputs.files)
        bytes += file.size;
    return bytes;
}

/// Looks at all files, and shows them in their order.
class DetectionRun
{
public:
    DetectionRun(const DetectionOptions& given, const InputList& listed)
        : options(given)
        , inputs(listed)
        , output(given.style)
        , progress(listed.files.size(), totalSize(listed), given.isQuiet)
    {
    }

    /// Gives how many files failed.
    int run()
    {
        progress.write(output.begin());
        if (inputs.files.size() == 1)
            add(0, lookAtOnly(inputs.files.front().path));
        else
            lookAtAll();
        progress.write(output.end());
        if (!options.isQuiet && options.style == DetectionStyle::table)
            tellEnd();
        return progress.getNumFailed();
    }

private:
    FileFindings lookAtOnly(const std::filesystem::path& file) const
    {
        std::optional<ProgressBar> bar;
        if (!options.isQuiet)
            bar.emplace(stderr);
        return lookAt(file, options.request,
                      [&bar](double share)
                      {
                          if (bar)
                              bar->update(share);
                      });
    }

    void lookAtAll()
    {
        JobPool pool(options.numJobs);
        for (std::size_t i = 0; i < inputs.files.size(); ++i)
        {
            const std::filesystem::path& file = inputs.files[i].path;
            pool.start([&] { return lookAtOne(file); },
                       [this, i, &file](const std::string& result, const std::string& failure)
                       {
                           add(i, failure.empty()
                                      ? unpack(result)
                                      : makeFailure(
                                            file, fmt::format("{}: {}", printable(file), failure)));
                       });
        }
        pool.finish();
    }

    /// In a process of its own.
    std::string lookAtOne(const std::filesystem::path& file) const
    {
        try
        {
            return pack(lookAt(file, options.request, [](double) {}));
        }
        catch (const std::bad_alloc&)
        {
            return pack(makeFailure(file, printable(file) + ": not enough memory"));
        }
        catch (const std::exception& error)
        {
            return pack(makeFailure(file, fmt::format("{}: {}", printable(file), error.what())));
        }
    }

    /// Files end in any order; those that come too early wait.
    void add(std::size_t index, FileFindings findings)
    {
        waiting.emplace(index, std::move(findings));
        for (auto found = waiting.find(numShown); found != waiting.end();
             found = waiting.find(numShown))
        {
            show(inputs.files[numShown], found->second);
            waiting.erase(found);
            ++numShown;
        }
    }

    void show(const InputFile& file, const FileFindings& findings)
    {
        progress.write(output.show(findings));
        if (!findings.problems.empty())
            progress.addFailed(file.size, fmt::format("{}", fmt::join(findings.problems, "; ")));
        else
            progress.addDone(file.size, secondsOf(findings),
                             options.style == DetectionStyle::json && inputs.files.size() > 1
                                 ? printable(file.path)
                                 : "");
    }

    static double secondsOf(const FileFindings& findings)
    {
        const auto quality = findings.row.find("quality");
        return quality == findings.row.end() ? 0.0 : (*quality)["seconds"].get<double>();
    }

    void tellEnd() const
    {
        progress.erase();
        fmt::print(stderr, "{}: {} looked at, {} failed{}; {}\n",
                   counted(static_cast<std::ptrdiff_t>(inputs.files.size()), "file"),
                   progress.getNumDone(), progress.getNumFailed(),
                   inputs.numLeftOut > 0
                       ? fmt::format(", {} other files left alone", inputs.numLeftOut)
                       : "",
                   progress.describeSpeed());
    }

    const DetectionOptions& options;
    const InputList& inputs;
    DetectionOutput output;
    BatchProgress progress;
    std::map<std::size_t, FileFindings> waiting;
    std::size_t numShown = 0;
};

} // namespace

int runDetection(int argc, const char* const* argv)
{
    const auto options = DetectionCommand().parse(argc, argv);
    if (!options)
        return 0;
    const InputList inputs = listInputs(options->inputs, options->isRecursive);
    for (const std::string& problem : inputs.problems)
        fmt::print(stderr, "kalim: {}\n", problem);
    const int numFailed = DetectionRun(*options, inputs).run();
    return numFailed > 0 || !inputs.problems.empty() ? 1 : 0;
}

} // namespace kalim::program
