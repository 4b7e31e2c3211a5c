#include "kalim/batch/BatchOptions.h"

#include "base/FileError.h"
#include "kalim/Options.h"
#include "kalim/Version.h"
#include "kalim/batch/BatchReport.h"
#include "kalim/batch/JobPool.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace kalim::program
{
namespace
{

constexpr std::array batchOptions{"--recursive", "--suffix",     "--jobs",
                                  "--dry-run",   "--keep-going", "--report"};

/// Options that say how the work goes on, and not what comes of it.
constexpr std::array withoutEffect{"INPUT", "--output-dir", "--force", "--json", "--quiet"};

template <typename Names>
bool isAmong(const Names& names, const CLI::Option& option)
{
    return std::ranges::any_of(names, [&](const char* name) { return option.check_name(name); });
}

} // namespace

void BatchOptionTexts::add(CLI::App& app, const std::string& group)
{
    app.add_option("--output-dir", outputFolder,
                   "Clean all inputs, files and folders, into this folder; what an earlier run has "
                   "finished there is left as it is")
        ->type_name("DIR")
        ->group(group);
    app.add_flag("-r,--recursive", isRecursive, "Also the folders in folders; their tree is kept")
        ->group(group);
    app.add_option("--suffix", suffix, "Follows the name of every output, such as -clean")
        ->type_name("TEXT")
        ->group(group);
    app.add_option("--jobs", numJobs, "Files at a time (default: as many as there are cores)")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1024}))
        ->type_name("N")
        ->group(group);
    app.add_flag("--dry-run", isDryRun, "Only show what would become what")->group(group);
    app.add_flag("--keep-going,!--no-keep-going", keepsGoing,
                 "Go on after a file that cannot be cleaned (default)")
        ->group(group);
    app.add_option("--report", report, "Write a row per file as CSV or JSON")
        ->type_name("FILE")
        ->group(group);
}

std::string BatchOptionTexts::findOrphan(const CLI::App& app) const
{
    if (!isGiven())
        for (const char* const name : batchOptions)
            if (app.count(name) > 0)
                return name;
    return "";
}

BatchOptions BatchOptionTexts::parse() const
{
    BatchOptions options;
    options.request.outputFolder = outputFolder;
    options.request.isRecursive = isRecursive;
    options.request.suffix = suffix;
    if (suffix.find('/') != std::string::npos)
        throw UsageError("--suffix: cannot hold a /");
    options.numJobs = chooseNumJobs(numJobs);
    options.isDryRun = isDryRun;
    options.keepsGoing = keepsGoing;
    if (!report.empty())
    {
        options.report = report;
        withUsageError<FileError>("", [&] { requireReportName(*options.report); });
    }
    return options;
}

std::string BatchOptionTexts::describeSettings(const CLI::App& app)
{
    std::string text = fmt::format("kalim {}", version);
    for (const CLI::Option* const option : app.get_options())
        if (option->count() > 0 && !isAmong(batchOptions, *option) &&
            !isAmong(withoutEffect, *option))
            text += fmt::format(" {}={}", option->get_name(), fmt::join(option->results(), ","));
    return text;
}

} // namespace kalim::program
