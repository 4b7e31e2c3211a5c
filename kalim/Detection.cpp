#include "kalim/Detection.h"

#include "audiofile/FileDamage.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Options.h"
#include "kalim/Precise.h"
#include "kalim/PreciseOptions.h"
#include "kalim/report/HumText.h"
#include "kalim/report/ProgressBar.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iostream>
#include <optional>

namespace kalim::program
{
namespace
{

using orvo::audio::precise::HumSummary;

struct DetectionOptions
{
    std::vector<std::filesystem::path> files;
    orvo::audio::precise::PreciseSettings settings;
    bool reportsJson = false;
    bool isQuiet = false;
};

/// The verb's options and what they were given.
struct DetectionCommandLine
{
    DetectionCommandLine()
    {
        app.set_help_flag("-h,--help", "Show this help and exit");
        app.add_option("FILE", files, "Audio files to look at")->required()->type_name("FILE");
        precise.addFundamental(app, "Options");
        app.add_flag("--json", options.reportsJson, "Report as JSON on standard output");
        app.add_flag("-q,--quiet", options.isQuiet, "No progress and no harmonics");
    }

    CLI::App app{"Tells whether recordings hold hum: its fundamental with one sigma, its kind "
                 "(steady, tape,\nswitched or breathing), when it changes at once, and how far "
                 "its harmonics stand out of a\nspectrum of a second.",
                 "kalim detect"};
    DetectionOptions options;
    std::vector<std::string> files;
    PreciseOptions precise;
};

/// Nothing when help was asked for and given.
std::optional<DetectionOptions> parse(int argc, const char* const* argv)
{
    DetectionCommandLine line;
    try
    {
        line.app.parse(argc, argv);
    }
    catch (const CLI::Success& success)
    {
        line.app.exit(success, std::cout, std::cerr);
        return std::nullopt;
    }
    catch (const CLI::ParseError& error)
    {
        const std::string text = error.what();
        throw UsageError(text.substr(0, text.find('\n')));
    }
    DetectionOptions options = line.options;
    options.settings =
        withUsageError<std::invalid_argument>("", [&] { return line.precise.parse(); });
    options.files.assign(line.files.begin(), line.files.end());
    return options;
}

HumSummary detect(AudioFileReader& reader, const DetectionOptions& options)
{
    std::optional<ProgressBar> progress;
    if (!options.isQuiet)
        progress.emplace(stderr);
    return detectHum(reader, options.settings,
                     [&](double share)
                     {
                         if (progress)
                             progress->update(share);
                     });
}

std::string toText(const std::filesystem::path& file, const HumSummary& hum, bool isQuiet)
{
    std::string text = fmt::format("{}: {}\n", printable(file), describeHum(hum));
    if (isQuiet || !hum.hasHum())
        return text;
    text += fmt::format("  between {:.3f} Hz and {:.3f} Hz, drift {:+.5f} Hz/s, {:.1f} s of hum\n",
                        hum.getLowestFrequency(), hum.getHighestFrequency(), hum.getDrift(),
                        hum.getSecondsOfHum());
    if (!hum.getChanges().empty())
        text += fmt::format("  changes at {}\n", changesToText(hum.getChanges()));
    for (const std::string& doubt : findDoubts(hum))
        text += fmt::format("  {}\n", doubt);
    return text + harmonicsToText(hum);
}

/// Whether sound of the file was not looked at.
bool tellDamages(const AudioFileReader& reader)
{
    bool isLoss = false;
    for (const FileNote& damage : damagesOf(reader))
        if (damage.isLoss)
        {
            fmt::print(stderr, "kalim: {}: {}\n", printable(reader.getPath()), damage.text);
            isLoss = true;
        }
    return isLoss;
}

} // namespace

int runDetection(int argc, const char* const* argv)
{
    const auto options = parse(argc, argv);
    if (!options)
        return 0;
    int exitCode = 0;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const std::filesystem::path& file : options->files)
        try
        {
            AudioFileReader reader(file, Damaged::salvage);
            const HumSummary hum = detect(reader, *options);
            if (options->reportsJson)
                list.push_back({{"file", printable(file)}, {"hum", humToJson(hum)}});
            else
                fmt::print("{}", toText(file, hum, options->isQuiet));
            if (tellDamages(reader))
                exitCode = 1;
        }
        catch (const FileError& error)
        {
            fmt::print(stderr, "kalim: {}\n", error.what());
            exitCode = 1;
        }
    if (options->reportsJson)
        fmt::print("{}\n",
                   list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    return exitCode;
}

void visitDetectionOptions(const std::function<void(CLI::App&)>& visit)
{
    DetectionCommandLine line;
    visit(line.app);
}

} // namespace kalim::program
