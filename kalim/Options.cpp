#include "kalim/Options.h"

#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/FilmWriter.h"
#endif

#include "base/FileError.h"
#include "base/Text.h"
#include "dsp/hum/HumParameters.h"
#include "dsp/signal/DspCore.h"
#include "kalim/HumOptions.h"
#include "kalim/OptionSpelling.h"
#include "kalim/PreciseOptions.h"
#include "kalim/Version.h"
#include "kalim/report/Provenance.h"
#include "kalim/report/SpectrumPlot.h"
#include "kalim/report/SpeedReport.h"
#include "kalim/streams/StandardStreams.h"
#include "presets/PresetFile.h"
#include "presets/PresetFolders.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include <array>
#include <iostream>
#include <span>
#include <vector>

namespace kalim::program
{
namespace
{

using orvo::audio::HumParameter;
using orvo::audio::Kalimmer;

constexpr const char* description =
    "Removes mains hum - a 50 or 60 Hz tone that drifts, and its harmonics - from a recording.\n"
    "OUTPUT lines up with INPUT sample for sample, in the format that its name asks for.\n"
    "kalim detect FILE... tells what hum there is; kalim detect --help says more.";

constexpr const char* footerPattern =
    "Without settings of the tracking engine (group Hum) hum is found by itself and removed with "
    "the\nprecise method, which looks at the whole recording; with any of them the tracking "
    "engine follows\nthe hum.\n"
    "Normal mode measures every harmonic and subtracts a copy of it: for voice and music.\n"
    "Aggressive mode cuts notches: for few harmonics, hum alone or damaged material.\n"
    "An estimate that lies further from the tracked frequency than adaptivity allows is not "
    "followed,\nso a small adaptivity also needs a fundamental that is nearly right.\n"
    "What a preset switches on is switched off by {}.\n"
    "Standard input is read to its end before work begins, and standard output is written when it "
    "is\ndone; both are kept in TMPDIR (/tmp) meanwhile. The report then goes to standard error.\n"
    "\n"
    "Exit codes: 0 done, 1 could not process, 2 wrong usage.";

std::string makeFooter()
{
    std::string switches;
    for (const HumParameter& parameter : orvo::audio::humParameters)
        if (parameter.kind == HumParameter::Kind::toggle)
            switches += fmt::format("{}--{}=off", switches.empty() ? "" : ", ", parameter.option);
    return fmt::format(footerPattern, switches);
}

bool isFilm([[maybe_unused]] const std::filesystem::path& output)
{
#ifdef KALIM_HAS_FFMPEG
    return media::isFilmName(output);
#else
    return false;
#endif
}

/// The options of the command line: those of the engine's parameters, all made from their table,
/// and the program's own.
class CommandLine
{
public:
    CommandLine()
    {
        app.set_version_flag("-V,--version", std::string("kalim ") + version + " (" +
                                                 orvo::audio::DspCore::getInstructionSet() + ")");
        app.set_help_flag("-h,--help", "Show this help and exit");
        app.footer(makeFooter());
        app.add_option("INPUT", files,
                       "Audio file to clean, and the file to write, - for standard input and "
                       "output; with --output-dir all that are to be cleaned, files and folders")
            ->required()
            ->type_name("FILE OUTPUT");
        addMethod();
        hum.add(app, "Hum");
        addPresets();
        addProcessing();
        batch.add(app, "Many files");
        addReporting();
    }

    std::optional<Options> parse(int argc, const char* const* argv)
    {
        try
        {
            requireKnownOptions(app, std::span(argv + 1, argv + argc));
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

    CLI::App& getApp() { return app; }

private:
    static std::string firstLine(const std::string& text)
    {
        return text.substr(0, text.find('\n'));
    }

    void addMethod()
    {
        app.add_option("--method", method,
                       "precise: finds hum by itself and looks at the whole recording (default "
                       "without options of the group Hum); tracking: the engine, with the settings "
                       "of that group; notch: the same in aggressive mode")
            ->check(CLI::IsMember(
                {nameOf(Method::precise), nameOf(Method::tracking), nameOf(Method::notch)}))
            ->type_name("METHOD")
            ->group("Method");
        precise.addRemoval(app, "Method");
        precise.addFundamental(app, "Method");
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
               "Show the factory and user presets, and exit")
            ->group("Presets");
    }

    /// Called before the parser looks for what is required.
    void listPresetsOnly()
    {
        options.listsPresets = true;
        app.get_option("INPUT")->required(false);
    }

    void addProcessing()
    {
        app.add_option("-b,--block-size", options.blockSize,
                       "Samples per call of the processor, as a host would feed it (default 512; "
                       "limited to one hop, 2048 samples at 48 kHz)")
            ->check(within(1, 1 << 20, "samples", HumParameter::Kind::whole))
            ->type_name("N")
            ->group("Files");
        app.add_option("--format", format,
                       "CONTAINER, SAMPLES or CONTAINER:SAMPLES, such as rf64, pcm24 or "
                       "caf:float; OUTPUT - is WAV without, and may be raw or, say, raw:s16le")
            ->type_name("FORMAT")
            ->group("Files");
        streams.add(app, "Files");
        app.add_option("--quality", options.quality,
                       "How good MP3, Ogg and Opus files are to be (default 8)")
            ->check(within(0, 10, "", HumParameter::Kind::real))
            ->type_name("0-10")
            ->group("Files");
        app.add_flag_function(
               "--force",
               [this](std::int64_t count)
               {
                   options.overwrites = count > 0;
                   options.overwritesAnything = count > 1;
               },
               "Replace files that exist; given twice, even OUTPUT in INPUT's folder that is a "
               "recording of another length")
            ->group("Files");
        app.add_flag("--salvage", options.salvages,
                     "Clean what can be read of a damaged file; exit code 1 tells that not all is "
                     "there")
            ->group("Files");
    }

    void addReporting()
    {
        app.add_option("--measure", measured,
                       "Measure levels and picture in this part only, in seconds")
            ->type_name("START:END")
            ->group("Reports");
        app.add_option("--plot", plot,
                       "Draw the spectrum before and after as PNG or SVG; of more than 20 s also "
                       "over time")
            ->type_name("FILE")
            ->group("Reports");
        app.add_option("--trace", trace,
                       "Write time, fundamental and harmonics present of every analysis as CSV")
            ->type_name("FILE")
            ->group("Reports");
        app.add_option("--speed-report", speedReports,
                       "Write the speed error over time that the hum shows against mains of 50 or "
                       "60 Hz, as CSV, PNG or SVG by the name; may be given several times")
            ->type_name("FILE")
            ->allow_extra_args(false)
            ->group("Reports");
        app.add_flag("--checksums", options.makesChecksums,
                     "Report MD5 and SHA-256 of the samples before and after")
            ->group("Reports");
        app.add_flag(
               "--provenance", recordsProvenance,
               "Tell in OUTPUT.premis.xml, in PREMIS, what was done by what with which result")
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
        requireFileNames();
        options.streams = streams.parse(format, options.format);
        if (!measured.empty())
            options.measured = withUsageError<std::invalid_argument>(
                "--measure: ", [&] { return parseMeasuredRange(measured); });
        if (!plot.empty())
            options.plot = plot;
        if (!trace.empty())
            options.trace = trace;
        options.speedReports.assign(speedReports.begin(), speedReports.end());
        if (recordsProvenance)
            options.provenance = provenanceOf(options.output);
        withUsageError<FileError>("", [&] { requireKnownKinds(); });
        if (preset)
            applyPreset();
        options.settings.update(hum.getValues());
        options.automatic = hum.getAutomatic();
        chooseMethod();
        applyPrecise();
        if (batch.isGiven())
            applyBatch();
        requireFittingStreams(options);
        return options;
    }

    void requireFileNames()
    {
        for (const std::string& name : files)
        {
            if (name.empty())
                throw UsageError("an empty file name");
            if (isStream(name) && batch.isGiven())
                throw UsageError("-: cannot be given together with --output-dir");
        }
        if (const std::string orphan = batch.findOrphan(app); !orphan.empty())
            throw UsageError(orphan + ": needs --output-dir");
        if (batch.isGiven())
            return;
        if (files.size() != 2)
            throw UsageError(files.size() < 2
                                 ? "OUTPUT is required"
                                 : files[2] + ": one input and one output are expected; "
                                              "--output-dir takes many inputs");
        options.input = files[0];
        options.output = files[1];
    }

    void applyBatch()
    {
        for (const char* const name : {"--plot", "--trace", "--speed-report"})
            if (app.count(name) > 0)
                throw UsageError(std::string(name) +
                                 ": cannot be given together with --output-dir");
        options.batch = batch.parse();
        auto& inputs = options.batch->request.inputs;
        inputs.insert(inputs.end(), files.begin(), files.end());
        if (options.format.container)
            options.batch->request.extension = extensionOf(*options.format.container);
        options.batch->settings = BatchOptionTexts::describeSettings(app);
        if (options.preset)
            for (const HumParameter& parameter : orvo::audio::humParameters)
                options.batch->settings +=
                    fmt::format(" {}={}", parameter.name, options.settings.get(parameter.id));
    }

    std::string findEngineOption() const
    {
        const std::string option = HumOptions::findEngineOption(app);
        return option.empty() && preset ? "--preset" : option;
    }

    void chooseMethod()
    {
        for (const Method known : {Method::precise, Method::tracking, Method::notch})
            if (method == nameOf(known))
                options.method = known;
        if (method.empty() && (!hum.getValues().empty() || !options.automatic.empty() || preset))
            options.method = Method::tracking;
        if (options.method == Method::precise && !findEngineOption().empty())
            throw UsageError(findEngineOption() + ": is not known to precise removal");
        if (options.method == Method::notch)
            options.settings.update(std::array{ParameterValue{Kalimmer::AggressiveMode, 1.0F}});
    }

    void applyPrecise()
    {
        if (options.method != Method::precise && precise.hasRemoval())
            throw UsageError("--strength, --learn: belong to the precise method");
        if (options.method != Method::precise && options.automatic.empty() &&
            precise.hasFundamental())
            throw UsageError("--mains, --range: belong to the precise method");
        options.precise =
            withUsageError<std::invalid_argument>("", [&] { return precise.parse(); });
        if (precise.mains == "50" || precise.mains == "60")
            options.mains = std::stod(precise.mains);
        if (!precise.learn.empty())
            options.learned = withUsageError<std::invalid_argument>(
                "--learn: ", [&] { return parseMeasuredRange(precise.learn); });
    }

    void applyPreset()
    {
        options.preset = withUsageError<std::invalid_argument>(
            "--preset: ", [&] { return findPreset(*preset, findPresetFolders()); });
        options.settings.update(readPresetFile(options.preset->file).values);
    }

    void requireKnownOutput() const
    {
        if (!isFilm(options.output))
            requireMatchingName(options.output, options.format);
        else if (options.makesChecksums)
            throw UsageError("--checksums: are not made of the sound of films");
        else if (options.format.container || options.format.samples || options.quality)
            throw UsageError("--format, --quality: the coding of sound in a film follows from its "
                             "name");
    }

    /// What the names alone tell to be wrong is told before any work is done.
    void requireKnownKinds() const
    {
        if (batch.isGiven())
            return;
        if (!isStream(options.output))
            requireKnownOutput();
        if (options.plot)
            pictureKindOf(*options.plot);
        for (const std::filesystem::path& file : options.speedReports)
            requireSpeedReportName(file);
    }

    CLI::App app{description, "kalim"};
    Options options;

    HumOptions hum;

    /// Is read when all is parsed, and must not replace what was given.
    std::optional<std::string> preset;
    std::vector<std::string> files;
    BatchOptionTexts batch;
    StreamOptionTexts streams;
    std::string format;
    std::string measured;
    std::string plot;
    std::string trace;
    std::vector<std::string> speedReports;
    bool recordsProvenance = false;
    std::string method;
    PreciseOptions precise;
};

} // namespace

const char* nameOf(Method method)
{
    constexpr std::array names{"precise", "tracking", "notch"};
    return names[static_cast<std::size_t>(method)];
}

std::optional<Options> parseOptions(int argc, const char* const* argv)
{
    return CommandLine().parse(argc, argv);
}

void visitOptions(const std::function<void(CLI::App&)>& visit)
{
    visit(CommandLine().getApp());
}

} // namespace kalim::program
