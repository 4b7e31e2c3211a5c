#include "kalim/Cleaner.h"

#include "audiofile/FileDamage.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/EngineStream.h"
#include "kalim/Version.h"
#include "kalim/report/Provenance.h"
#include "kalim/report/SpectrumPlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <set>
#include <utility>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;

/// What a whole detection takes of the time.
constexpr double detectionShare = 0.8;

/// Opens the input, and refuses one of which sound would be lost unless that is to be.
AudioFileReader openWhole(const Options& options)
{
    AudioFileReader reader(options.input, options.salvages ? Damaged::salvage : Damaged::refuse,
                           options.stream);
    if (!options.salvages)
        for (const FileNote& damage : damagesOf(reader))
            if (damage.isLoss)
                throw FileError(options.input, damage.text + salvageHint);
    return reader;
}

/// Frequency of the highest harmonic that is clearly softer afterwards, or that is clearly heard in
/// what was removed: what sounds is louder than the others. 0 if there is none.
double highestRemoved(const Report& report)
{
    constexpr double clearly = 3.0; // dB
    const bool isResidual = report.settings.isOn(Kalimmer::ResidualMode);
    double highest = 0.0;
    for (const HarmonicLevels& harmonic : report.harmonics)
    {
        const double change = harmonic.after - harmonic.before;
        if (isResidual ? change > -clearly : change < -clearly)
            highest = std::max(highest, harmonic.frequency);
    }
    return highest;
}

std::string describeRun(const Options& options, const Report& report,
                        const Measurements& measurements)
{
    const char* const mode =
        report.hum ? "precise"
                   : (report.settings.isOn(Kalimmer::AggressiveMode) ? "aggressive" : "normal");
    const std::string found =
        report.hum && !report.hum->hasHum()
            ? "no hum"
            : fmt::format("hum at {:.2f} Hz, {} harmonic{}", measurements.getMeanFundamental(),
                          report.harmonics.size(), report.harmonics.size() == 1 ? "" : "s");
    const std::string part =
        options.measured
            ? fmt::format(", from {:g} s to {:g} s", options.measured->start, options.measured->end)
            : "";
    return fmt::format("{}, {} mode{}", found, mode, part);
}

SpectrumPlotData describePicture(const Options& options, const Report& report,
                                 const Measurements& measurements)
{
    SpectrumPlotData data;
    data.title =
        options.inputName.empty() ? printable(options.input.filename()) : options.inputName;
    data.subtitle = describeRun(options, report, measurements);
    data.sampleRate = report.sampleRate;
    data.beforeLabel = "before";
    data.afterLabel = options.settings.isOn(Kalimmer::ResidualMode) ? "what was removed" : "after";
    data.harmonics = report.harmonics;
    measurements.drawInto(data);
    if (data.overTime)
        data.overTime->highestHarmonic = highestRemoved(report);
    return data;
}

/// Descriptions may be of any number and length, but a person reads a few lines.
std::vector<std::string> limited(std::vector<std::string> warnings)
{
    constexpr std::size_t mostLines = 50;
    constexpr std::size_t mostBytes = 500;
    const std::size_t count = warnings.size();
    warnings.resize(std::min(count, mostLines));
    for (std::string& warning : warnings)
        warning = shortened(warning, mostBytes);
    if (count > mostLines)
        warnings.push_back(fmt::format("and {} more of the kind", count - mostLines));
    return warnings;
}

/// Numbers of the harmonics that precise removal found in any channel.
std::vector<int> numbersOf(const orvo::audio::precise::HumSummary& hum)
{
    std::set<int> numbers;
    for (const auto& harmonic : hum.getHarmonics())
        numbers.insert(harmonic.harmonic);
    return {numbers.begin(), numbers.end()};
}

/// Samples that the engine limits, for they are damage.
std::int64_t countTooLarge(std::span<const float> samples)
{
    constexpr float largest = 1.0e6F;
    return std::ranges::count_if(samples, [](float sample)
                                 { return std::isfinite(sample) && std::abs(sample) > largest; });
}

} // namespace

Cleaner::Cleaner(const Options& given, const Progress& told)
    : options(given)
    , tell(told)
    , settings(given.settings)
    , reader(openWhole(given))
    , copy(reader, given.output,
           {given.format, given.quality, existing(), settings.isOn(Kalimmer::ResidualMode),
            fmt::format("Kalim {}", version),
            fmt::format("mains hum removal by Kalim {}, {} method", version, nameOf(given.method))})
    , measurements(given, reader)
{
    if (options.quality && !copy.getFormat().isLossy())
        throw UsageError(fmt::format("--quality: {} loses nothing; it is for lossy formats",
                                     copy.getFormat().getDescription()));
    if (options.plot)
        files.picture = &files.reports.emplace_back(*options.plot, existing());
    for (const std::filesystem::path& file : options.speedReports)
        files.speedReports.push_back(&files.reports.emplace_back(file, existing()));
    if (options.provenance)
        files.provenance = &files.reports.emplace_back(*options.provenance, existing());
    if (options.trace)
        files.trace.emplace(*options.trace, existing());
}

Report Cleaner::run()
{
    const auto start = std::chrono::steady_clock::now();
    if (!options.isQuiet && !tell)
        progress.emplace(stderr);
    openStream();
    processAll();
    progress.reset();
    copy.close();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    if (precise != nullptr)
        addCourse();
    measurements.finish();
    Report report = describe();
    report.timesRealTime = report.getSeconds() / std::max(taken.count(), 1e-9);
    if (files.picture != nullptr)
        drawSpectrumPlot(*files.picture, describePicture(options, report, measurements));
    if (!files.speedReports.empty())
        writeSpeedReports(report);
    return report;
}

void Cleaner::showProgress(double share)
{
    if (progress)
        progress->update(share);
    if (tell)
        tell(share);
}

void Cleaner::openStream()
{
    const auto show = [this](double share) { showProgress(share * startShare); };
    if (options.method == Method::precise)
    {
        startShare = surveyShare;
        auto opened = std::make_unique<PreciseStream>(
            surveyRecording(reader, learnHumShape(), show), settings.isOn(Kalimmer::ResidualMode),
            reader.getNumChannels(), reader.getSampleRate());
        precise = opened.get();
        stream = std::move(opened);
    }
    else
    {
        if (!options.automatic.empty())
        {
            startShare = detectionShare;
            settings.takeFrom(detectHum(reader, options.precise, show), options.automatic);
        }
        stream = std::make_unique<EngineStream>(
            settings, reader.getNumChannels(), reader.getSampleRate(), options.blockSize,
            [this](const Kalimmer& analysed, std::int64_t position)
            { observe(analysed, position); });
    }
}

orvo::audio::precise::PreciseSettings Cleaner::learnHumShape()
{
    if (!options.learned)
        return options.precise;
    const auto part = withUsageError<std::invalid_argument>(
        "--learn: ",
        [&] {
            return MeasuredSamples(options.learned, reader.getNumFrames(), reader.getSampleRate());
        });
    return learnFromRecording(reader, options.precise, part);
}

void Cleaner::processAll()
{
    const int channels = reader.getNumChannels();
    const int blocksPerRead = std::max(readSize / channels / stream->getBlockSize(), 1);
    std::vector<float> samples(static_cast<std::size_t>(blocksPerRead) *
                               static_cast<std::size_t>(stream->getBlockSize()) *
                               static_cast<std::size_t>(channels));
    const auto write = [this](std::span<const float> cleaned) { take(cleaned); };
    std::int64_t position = 0;
    while (const std::int64_t count = reader.read(samples))
    {
        const auto piece = std::span<const float>(samples).first(
            static_cast<std::size_t>(count) * static_cast<std::size_t>(channels));
        numLimited += countTooLarge(piece);
        measurements.addInput(piece, position);
        stream->process(piece, write);
        position += count;
        showProgress(startShare + (1.0 - startShare) * static_cast<double>(position) /
                                      static_cast<double>(reader.getNumFrames()));
    }
    stream->finish(write);
}

void Cleaner::take(std::span<const float> cleaned)
{
    measurements.addOutput(cleaned, copy.getNumFrames());
    copy.write(cleaned);
}

void Cleaner::observe(const Kalimmer& analysed, std::int64_t position)
{
    measurements.addFundamental(analysed.getCurrentFundamental(), position);
    if (!files.speedReports.empty())
        speed.add(static_cast<double>(position) / reader.getSampleRate(),
                  static_cast<double>(analysed.getCurrentFundamental()));
    if (files.trace)
        files.trace->add(static_cast<double>(position) / reader.getSampleRate(), analysed,
                         settings.getSelection());
}

void Cleaner::addCourse()
{
    const std::vector<int> numbers = numbersOf(precise->getSummary());
    for (const auto& moment : precise->getSummary().getCourse())
    {
        if (!moment.isOn)
            continue;
        measurements.addFundamental(static_cast<float>(moment.frequency),
                                    std::llround(moment.time * reader.getSampleRate()));
        speed.add(moment.time, moment.frequency);
        if (files.trace)
            files.trace->add(moment.time, moment.frequency, numbers);
    }
}

void Cleaner::writeSpeedReports(Report& report) const
{
    report.speed = speed.summarise(options.mains);
    if (!report.speed)
        report.warnings.emplace_back("no hum was found to tell the speed from");
    for (OutputFile* const file : files.speedReports)
        speed.write(*file, report.speed, report.getSeconds(), printable(options.input.filename()));
}

void Cleaner::addRecords(Report& report, const std::filesystem::path& output,
                         const std::filesystem::path& written)
{
    if (options.makesChecksums)
        report.checksums = {
            checksumsOf(options.input, options.salvages ? Damaged::salvage : Damaged::refuse),
            checksumsOf(written)};
    if (files.provenance != nullptr)
        writeProvenance(*files.provenance, report, options.input, output, written);
}

Report Cleaner::describe() const
{
    Report report;
    report.input = options.inputName.empty() ? printable(options.input) : options.inputName;
    report.output = printable(options.output);
    report.inputFormat = reader.getFormat().getDescription();
    report.outputFormat = copy.getFormat().getDescription();
    report.sampleRate = reader.getSampleRate();
    report.channels = reader.getNumChannels();
    report.samples = copy.getNumFrames();
    report.method = nameOf(options.method);
    report.settings = settings;
    report.preset = options.preset;
    report.blockSize = stream->getBlockSize();
    report.tracking = measurements.getTracking();
    report.measured = options.measured;
    if (precise != nullptr)
    {
        report.hum = precise->getSummary();
        report.strength = options.precise.strength;
        report.learned = options.learned;
    }
    report.harmonics = findHarmonics();
    report.nonFiniteSamples = stream->getNumNonFinite();
    report.clippedSamples = copy.getNumClippedSamples();
    const std::vector<FileNote> damages = damagesOf(reader);
    report.isSalvaged = std::ranges::any_of(damages, &FileNote::isLoss);
    report.warnings = findWarnings(damages);
    return report;
}

std::vector<HarmonicLevels> Cleaner::findHarmonics() const
{
    if (precise == nullptr)
        return measurements.getHarmonics(settings.getSelection());
    const std::vector<int> numbers = numbersOf(precise->getSummary());
    orvo::audio::HarmonicSelection selection(0, false);
    selection.count = numbers.empty() ? 0 : numbers.back();
    std::vector<HarmonicLevels> harmonics = measurements.getHarmonics(selection);
    std::erase_if(harmonics, [&numbers](const HarmonicLevels& harmonic)
                  { return !std::ranges::binary_search(numbers, harmonic.number); });
    return harmonics;
}

std::vector<std::string> Cleaner::findWarnings(const std::vector<FileNote>& damages) const
{
    std::vector<std::string> warnings;
    for (const FileNote& damage : damages)
        warnings.push_back(fmt::format("{}: {}", printable(options.input), damage.text));
    if (numLimited > 0)
        warnings.push_back(fmt::format(
            "{}: {} too large to be sound and limited", printable(options.input),
            numLimited == 1 ? "1 sample is" : fmt::format("{} samples are", numLimited)));
    if (!stream->canRemove())
        warnings.push_back(
            fmt::format("nothing was removed: no hum can be told apart at a sample rate of {} Hz",
                        reader.getSampleRate()));
    if (!options.automatic.empty() && settings.getSelection().count == 0)
        warnings.push_back("no hum was found to take settings from; nothing was removed");
    const std::vector<std::string> losses = copy.findWarnings();
    warnings.insert(warnings.end(), losses.begin(), losses.end());
    return limited(std::move(warnings));
}

} // namespace kalim::program
