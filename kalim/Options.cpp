#include "kalim/Options.h"

#include "dsp/hum/Kalimmer.h"
#include "dsp/signal/DspCore.h"
#include "kalim/Version.h"
#include "base/FileError.h"
#include "presets/PresetFile.h"
#include "presets/PresetCatalogue.h"
#include "kalim/report/SpectrumPlot.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include <cmath>
#include <iostream>
#include <string>
#include <vector>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;

constexpr const char* description =
    "Removes mains hum - a 50 or 60 Hz tone that drifts, and its harmonics - from a recording.\n"
    "OUTPUT lines up with INPUT sample for sample, in the format that its name asks for.";

constexpr const char* footer =
    "Normal mode measures every harmonic and subtracts a copy of it: for voice and music.\n"
    "Aggressive mode cuts notches: for few harmonics, hum alone or damaged material.\n"
    "An estimate that lies further from the tracked frequency than adaptivity allows is not "
    "followed,\nso a small adaptivity also needs a fundamental that is nearly right.\n"
    "What a preset switches on is switched off by --odd=off, --aggressive=off, --residual=off.\n"
    "\n"
    "Exit codes: 0 done, 1 could not process, 2 wrong usage.";

enum class NumberKind
{
    any,
    whole
};

/// Refuses what is no number of that kind within the range; not-a-number is never within.
CLI::Validator within(double min, double max, const std::string& unit, NumberKind kind)
{
    const std::string range = fmt::format("{} to {}{}{}", min, max, unit.empty() ? "" : " ", unit);
    const auto check = [=](std::string& text)
    {
        double value = 0.0;
        const bool isNumber = CLI::detail::lexical_cast(text, value);
        if (!isNumber || !(value >= min && value <= max))
            return fmt::format("'{}' is not in the range {}", text, range);
        if (kind == NumberKind::whole && value != std::floor(value))
            return fmt::format("'{}' is no whole number in the range {}", text, range);
        return std::string();
    };
    return {check, range};
}

/// Refuses what is neither on nor off, and spells the others as the parser can read them.
CLI::Validator onOrOff()
{
    const auto read = [](std::string& text)
    {
        bool isOn = false;
        if (!CLI::detail::lexical_cast(text, isOn))
            return fmt::format("'{}' is neither on nor off", text);
        text = isOn ? "true" : "false";
        return std::string();
    };
    return {read, ""};
}

/// Adds the command line's own view of the options; the texts of the parameters come from the hum
/// remover, so that ranges and defaults cannot differ from it.
class CommandLine
{
public:
    CommandLine()
    {
        app.set_version_flag("-V,--version", std::string("kalim ") + version + " (" +
                                                 orvo::audio::DspCore::getInstructionSet() + ")");
        app.set_help_flag("-h,--help", "Show this help and exit");
        app.footer(footer);
        app.add_option("INPUT", input, "Audio file to clean")->required()->type_name("FILE");
        app.add_option("OUTPUT", output, "Audio file to write")->required()->type_name("FILE");
        addParameters();
        addPresets();
        addProcessing();
        addReporting();
    }

    std::optional<Options> parse(int argc, const char* const* argv)
    {
        try
        {
            app.parse(argc, argv);
        }
        catch (const CLI::Success& success) // help or version was asked for
        {
            app.exit(success, std::cout, std::cerr);
            return std::nullopt;
        }
        catch (const CLI::ParseError& error)
        {
            throw UsageError(firstLine(error.what()));
        }
        return collect();
    }

private:
    static std::string firstLine(const std::string& text)
    {
        return text.substr(0, text.find('\n'));
    }

    /// A preset is read when all is parsed, and must not replace what was given.
    void setExplicitly(orvo::audio::HumParameterId id, float value)
    {
        explicitValues.push_back({id, value});
    }

    void addValue(const char* flags, orvo::audio::HumParameterId id, const char* unit, const char* type,
                  const std::string& text, NumberKind kind = NumberKind::any)
    {
        float min = 0.0F;
        float max = 0.0F;
        remover.getParameterRange(id, min, max);
        app.add_option_function<float>(
               flags, [this, id](float value) { setExplicitly(id, value); },
               fmt::format("{} (default {:g})", text, options.settings.get(id)))
            ->check(within(static_cast<double>(min), static_cast<double>(max), unit, kind))
            ->type_name(type)
            ->group("Hum");
    }

    void addSwitch(const char* flag, orvo::audio::HumParameterId id, const char* text)
    {
        app.add_flag_function(
               flag, [this, id](std::int64_t count) { setExplicitly(id, count > 0 ? 1.0F : 0.0F); },
               text)
            ->transform(onOrOff())
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
            ->group("Hum");
    }

    void addParameters()
    {
        addValue("-f,--fundamental", Kalimmer::FundamentalFrequency, "Hz", "HZ",
                 "Frequency of the hum to start from");
        addValue("-n,--harmonics", Kalimmer::NumberOfHarmonics, "", "N",
                 "How many harmonics to remove, the fundamental included", NumberKind::whole);
        addValue("-a,--adaptivity", Kalimmer::Adaptivity, "Hz/s", "HZ_PER_S",
                 "How fast the fundamental may drift");
        addValue("-s,--sensitivity", Kalimmer::Sensitivity, "%", "PERCENT",
                 "Stored and shown, but the processing does not use it");
        addSwitch("--odd", Kalimmer::OnlyOddHarmonics,
                  "Count the odd harmonics only: 1, 3, 5, ...");
        addSwitch("--aggressive", Kalimmer::AggressiveMode, "Cut notches instead");
        addSwitch("--residual", Kalimmer::ResidualMode,
                  "Write what is removed instead of the rest");
    }

    void addPresets()
    {
        app.add_option_function<std::string>(
               "--preset", [this](const std::string& text) { preset = text; },
               "Take the settings that are not given here from a preset")
            ->type_name("NAME|FILE")
            ->group("Presets");
        app.add_flag_callback(
               "--list-presets", [this] { listPresetsOnly(); },
               "Show the factory's and the user's presets, and exit")
            ->group("Presets");
    }

    /// Called before the parser looks for what is required.
    void listPresetsOnly()
    {
        options.listsPresets = true;
        for (const char* const name : {"INPUT", "OUTPUT"})
            app.get_option(name)->required(false);
    }

    void addProcessing()
    {
        app.add_option("-b,--block-size", options.blockSize,
                       "Samples per call of the processor, as a host would feed it (default 512; "
                       "limited to one hop, 2048 samples at 48 kHz)")
            ->check(within(1, 1 << 20, "samples", NumberKind::whole))
            ->type_name("N")
            ->group("Files");
        app.add_option("--format", format,
                       "CONTAINER, SAMPLES or CONTAINER:SAMPLES, such as rf64, pcm24 or caf:float")
            ->type_name("FORMAT")
            ->group("Files");
        app.add_flag("--force", options.overwrites, "Replace files that exist")->group("Files");
    }

    void addReporting()
    {
        app.add_option("--measure", measured,
                       "Measure levels and picture in this part only, in seconds")
            ->type_name("START:END")
            ->group("Reports");
        app.add_option("--plot", plot, "Draw the spectrum before and after as PNG or SVG")
            ->type_name("FILE")
            ->group("Reports");
        app.add_option("--trace", trace,
                       "Write time, fundamental and harmonics present of every analysis as CSV")
            ->type_name("FILE")
            ->group("Reports");
        app.add_flag("--json", options.reportsJson, "Report as JSON on standard output")
            ->group("Reports");
        app.add_flag("-q,--quiet", options.isQuiet,
                     "Errors only; a JSON report that was asked for is still written")
            ->group("Reports");
    }

    Options collect()
    {
        if (options.listsPresets)
            return options;
        options.input = input;
        options.output = output;
        for (const std::string& name : {input, output})
        {
            if (name.empty())
                throw UsageError("an empty file name");
            if (name == "-")
                throw UsageError("-: standard streams are not supported, name a file");
        }
        try
        {
            if (!format.empty())
                options.format = parseFormatRequest(format);
        }
        catch (const std::invalid_argument& error)
        {
            throw UsageError(std::string("--format: ") + error.what());
        }
        try
        {
            if (!measured.empty())
                options.measured = parseTimeRange(measured);
        }
        catch (const std::invalid_argument& error)
        {
            throw UsageError(std::string("--measure: ") + error.what());
        }
        if (!plot.empty())
            options.plot = plot;
        requireKnownKinds();
        if (!trace.empty())
            options.trace = trace;
        if (preset)
            applyPreset();
        options.settings.update(explicitValues);
        return options;
    }

    void applyPreset()
    {
        try
        {
            options.preset = findPreset(*preset, findPresetFolders());
        }
        catch (const std::invalid_argument& error)
        {
            throw UsageError(std::string("--preset: ") + error.what());
        }
        options.settings.update(readPresetFile(options.preset->file).values);
    }

    /// What the names alone tell to be wrong is told before any work is done.
    void requireKnownKinds() const
    {
        try
        {
            if (!options.format.container)
                containerOfExtension(options.output);
            if (options.plot)
                pictureKindOf(*options.plot);
        }
        catch (const FileError& error)
        {
            throw UsageError(error.what());
        }
    }

    orvo::audio::Kalimmer remover; // knows the parameters' ranges
    CLI::App app{description, "kalim"};
    Options options;
    std::vector<ParameterValue> explicitValues;
    std::optional<std::string> preset;
    std::string input;
    std::string output;
    std::string format;
    std::string measured;
    std::string plot;
    std::string trace;
};

} // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv)
{
    return CommandLine().parse(argc, argv);
}

} // namespace kalim::program
