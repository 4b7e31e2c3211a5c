#include "kalim/batch/BatchOptions.h"

#include "base/FileError.h"
#include "kalim/Options.h"
#include "kalim/Version.h"
#include "kalim/batch/BatchReport.h"
#include "kalim/batch/JobPool.h"
#include "kalim/batch/Journal.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace kalim::program
{
namespace
{

constexpr std::array batchOptions{"--files-from", "--base",   "--recursive",
                                  "--suffix",     "--jobs",   "--dry-run",
                                  "--keep-going", "--report", "--journal"};

/// Options that say how the work goes on, and not what comes of it.
constexpr std::array withoutEffect{"INPUT", "--output-dir", "--force", "--json", "--quiet"};

template <typename Names>
bool isAmong(const Names& names, const CLI::Option& option)
{
    return std::ranges::any_of(names, [&](const char* name) { return option.check_name(name); });
}

std::string readList(const std::string& name)
{
    std::ifstream file;
    if (name != "-")
        file.open(name, std::ios::binary);
    std::istream& list = name == "-" ? std::cin : file;
    std::string text(std::istreambuf_iterator<char>(list), {});
    if (list.bad() || (name != "-" && !file.is_open()))
        throw FileError(name, errno);
    return text;
}

/// Names that stand one per line or, where there is one, behind which there is a zero byte; a name
/// can hold anything but that.
std::vector<std::filesystem::path> readNames(const std::string& listName)
{
    std::istringstream text(readList(listName));
    const char end = text.view().find('\0') != std::string_view::npos ? '\0' : '\n';
    std::vector<std::filesystem::path> names;
    for (std::string name; std::getline(text, name, end);)
        if (!name.empty())
            names.emplace_back(name);
    return names;
}

} // namespace

void BatchOptionTexts::add(CLI::App& app, const std::string& group)
{
    app.add_option("--output-dir", outputFolder,
                   "Clean all inputs, files and folders, into this folder; what an earlier run has "
                   "finished there is left as it is")
        ->type_name("DIR")
        ->group(group);
    app.add_option_function<std::string>(
           "--files-from",
           [this, &app](const std::string& name)
           {
               filesFrom = name;
               app.get_option("INPUT")->required(false);
           },
           "Clean also the files that this list names, one per line or each followed by a zero "
           "byte; - for standard input")
        ->type_name("LIST")
        ->group(group);
    app.add_option("--base", base,
                   "Outputs keep the place that their inputs have below this folder")
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
    app.add_option("--report", reports,
                   "Write a row per file as CSV or JSON; may be given for each")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option(
           "--journal", journal,
           "What has become of each file (default: .kalim-journal.jsonl in the folder); runs "
           "with journals of their own can share the folder")
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
    if (!filesFrom.empty())
        options.request.inputs = readNames(filesFrom);
    options.request.base = base;
    options.request.isRecursive = isRecursive;
    options.request.suffix = suffix;
    if (suffix.find('/') != std::string::npos)
        throw UsageError("--suffix: cannot hold a /");
    options.numJobs = chooseNumJobs(numJobs);
    options.isDryRun = isDryRun;
    options.keepsGoing = keepsGoing;
    options.reports.assign(reports.begin(), reports.end());
    for (const std::filesystem::path& report : options.reports)
        withUsageError<FileError>("", [&] { requireReportName(report); });
    options.journal = journal;
    if (journal.empty())
        options.journal = Journal::nameIn(outputFolder);
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
