#include "kalim/Cleaning.h"

#include "audiofile/AudioFileReader.h"
#include "audiofile/AudioFileWriter.h"
#include "audiofile/FileDamage.h"
#include "audiofile/FileMetadata.h"
#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "dsp/hum/HarmonicSelection.h"
#include "kalim/StreamRemover.h"
#include "kalim/Stretch.h"
#include "kalim/Version.h"
#include "kalim/report/HarmonicLevels.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/report/SpectrumMeter.h"
#include "kalim/report/SpectrumPlot.h"
#include "kalim/report/TraceFile.h"
#include "kalim/report/TrackingSummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <optional>
#include <vector>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;

/// About how many samples of all channels are read at once.
constexpr int readSize = 1 << 16;

void requireDistinct(const Options& options)
{
    if (isSameFile(options.input, options.output))
        throw UsageError(printable(options.output) + ": is the input itself; choose another name");
    std::vector<std::filesystem::path> outputs;
    for (const auto& output : {std::optional(options.output), options.trace, options.plot})
    {
        if (!output)
            continue;
        const std::filesystem::path target = resolvedTarget(*output);
        if (std::ranges::find(outputs, target) != outputs.end() ||
            isSameFile(options.input, target) ||
            (options.preset && isSameFile(options.preset->file, target)))
            throw UsageError(printable(*output) + ": is named twice");
        outputs.push_back(target);
    }
}

Stretch findStretch(const Options& options, const AudioFileReader& reader)
{
    try
    {
        return {options.measured, reader.getNumFrames(), reader.getSampleRate()};
    }
    catch (const std::invalid_argument& error)
    {
        throw UsageError(fmt::format("--measure: {}", error.what()));
    }
}

orvo::audio::HarmonicSelection selectionOf(const HumSettings& settings)
{
    return {static_cast<int>(settings.get(Kalimmer::NumberOfHarmonics)),
            settings.isOn(Kalimmer::OnlyOddHarmonics)};
}

/// The spectra that the report of levels and the picture are drawn from. Measuring them takes a
/// quarter of the time of a run, so it is left out where nobody will look.
struct Spectra
{
    Spectra(int channels, int sampleRate, std::int64_t numSamples)
        : before(channels, sampleRate, numSamples)
        , after(channels, sampleRate, numSamples)
    {
    }

    SpectrumMeter before;
    SpectrumMeter after;
};

bool showsLevels(const Options& options)
{
    return !options.isQuiet || options.reportsJson || options.plot;
}

/// One run over one recording.
class Cleaner
{
public:
    explicit Cleaner(const Options& given)
        : options(given)
        , existing(given.overwrites ? Existing::replace : Existing::keep)
        , reader(given.input)
        , metadata(reader)
        , target(chooseOutputFormat(
              reader.getFormat(),
              {reader.getNumFrames(), reader.getNumChannels(), reader.getSampleRate()},
              given.output, given.format))
        , stretch(findStretch(given, reader))
        , output(given.output, existing)
        , writer(output, target.format, reader.getNumChannels(), reader.getSampleRate())
        , tracking(given.settings.get(Kalimmer::FundamentalFrequency))
        , measuredTracking(tracking)
        , remover(given.settings, reader.getNumChannels(), reader.getSampleRate(), given.blockSize,
                  [this](const Kalimmer& engine, std::int64_t position)
                  { observe(engine, position); })
    {
        if (options.trace)
            trace.emplace(*options.trace, existing, selectionOf(options.settings));
        if (options.plot)
            picture.emplace(*options.plot, existing);
        if (showsLevels(options))
            spectra.emplace(reader.getNumChannels(), reader.getSampleRate(), stretch.getLength());
        metadata.applyTo(writer, fmt::format("Kalim {}", version));
    }

    Report run()
    {
        const auto start = std::chrono::steady_clock::now();
        processAll();
        writer.close();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        if (spectra)
        {
            spectra->before.finish();
            spectra->after.finish();
        }
        Report report = describe();
        report.timesRealTime = report.getSeconds() / std::max(taken.count(), 1e-9);
        report.warnings = target.warnings;
        for (const std::string& damage : damagesOf(reader))
            report.warnings.push_back(fmt::format("{}: {}", report.input, damage));
        if (!remover.canRemove())
            report.warnings.push_back(fmt::format(
                "nothing was removed: no hum can be told apart at a sample rate of {} Hz",
                reader.getSampleRate()));
        const std::vector<std::string> losses = findLosses();
        report.warnings.insert(report.warnings.end(), losses.begin(), losses.end());
        if (picture)
            drawSpectrumPlot(*picture, describePicture(report));
        commit();
        return report;
    }

private:
    void processAll()
    {
        const int channels = reader.getNumChannels();
        const int blocksPerRead = std::max(readSize / channels / remover.getBlockSize(), 1);
        std::vector<float> samples(static_cast<std::size_t>(blocksPerRead) *
                                   static_cast<std::size_t>(remover.getBlockSize()) *
                                   static_cast<std::size_t>(channels));
        std::optional<ProgressBar> progress;
        if (!options.isQuiet)
            progress.emplace(stderr);
        const auto write = [this](std::span<const float> cleaned) { take(cleaned); };
        std::int64_t position = 0;
        while (const std::int64_t count = reader.read(samples))
        {
            const auto piece = std::span<const float>(samples).first(
                static_cast<std::size_t>(count) * static_cast<std::size_t>(channels));
            if (spectra)
                spectra->before.add(stretch.cut(piece, position, channels));
            remover.process(piece, write);
            position += count;
            if (progress)
                progress->update(static_cast<double>(position) /
                                 static_cast<double>(reader.getNumFrames()));
        }
        remover.finish(write);
    }

    /// Reads the finished file back, which also shows that others can read it.
    std::vector<std::string> findLosses() const
    {
        try
        {
            return metadata.lossesIn(output.getTemporaryPath());
        }
        catch (const FileError&)
        {
            throw FileError(options.output, reader.getNumFrames() == 0
                                                ? target.format.getContainerName() +
                                                      " cannot hold an empty recording"
                                                : "what was written cannot be read back");
        }
    }

    void take(std::span<const float> cleaned)
    {
        if (spectra)
            spectra->after.add(
                stretch.cut(cleaned, writer.getNumFrames(), reader.getNumChannels()));
        writer.write(cleaned);
    }

    void observe(const Kalimmer& engine, std::int64_t position)
    {
        tracking.add(engine.getCurrentFundamental());
        if (stretch.contains(position))
            measuredTracking.add(engine.getCurrentFundamental());
        if (trace)
            trace->add(static_cast<double>(position) / reader.getSampleRate(), engine);
    }

    Report describe() const
    {
        Report report;
        report.input = printable(options.input);
        report.output = printable(options.output);
        report.inputFormat = reader.getFormat().getDescription();
        report.outputFormat = target.format.getDescription();
        report.sampleRate = reader.getSampleRate();
        report.channels = reader.getNumChannels();
        report.samples = writer.getNumFrames();
        report.settings = options.settings;
        report.preset = options.preset;
        report.blockSize = remover.getBlockSize();
        report.fundamentalAtStart = tracking.getStart();
        report.fundamentalAtEnd = tracking.getEnd();
        report.lowestFundamental = tracking.getLowest();
        report.highestFundamental = tracking.getHighest();
        report.measured = options.measured;
        if (spectra)
            report.harmonics =
                measureHarmonics(spectra->before, spectra->after, selectionOf(options.settings),
                                 static_cast<double>(measuredTracking.getMean()));
        report.nonFiniteSamples = remover.getNumNonFinite();
        report.clippedSamples = writer.getNumClippedSamples();
        return report;
    }

    SpectrumPlotData describePicture(const Report& report) const
    {
        SpectrumPlotData data;
        const bool isResidual = options.settings.isOn(Kalimmer::ResidualMode);
        data.title = printable(options.input.filename());
        data.subtitle = fmt::format(
            "hum at {:.2f} Hz, {} harmonic{}, {} mode{}", measuredTracking.getMean(),
            report.harmonics.size(), report.harmonics.size() == 1 ? "" : "s",
            options.settings.isOn(Kalimmer::AggressiveMode) ? "aggressive" : "normal",
            options.measured ? fmt::format(", from {:g} s to {:g} s", options.measured->start,
                                           options.measured->end)
                             : "");
        data.sampleRate = reader.getSampleRate();
        data.binSpacing = spectra->before.getBinSpacing();
        data.beforeLabel = "before";
        data.afterLabel = isResidual ? "what was removed" : "after";
        data.before = withoutFloor(spectra->before.getLevels());
        data.after = withoutFloor(spectra->after.getLevels());
        for (const HarmonicLevels& harmonic : report.harmonics)
            data.harmonics.push_back({harmonic.number, harmonic.frequency,
                                      withoutFloor(harmonic.before), withoutFloor(harmonic.after)});
        return data;
    }

    /// Silence has no place on a scale of levels.
    static double withoutFloor(double level)
    {
        return level <= SpectrumMeter::floorDb ? -std::numeric_limits<double>::infinity() : level;
    }

    static std::vector<double> withoutFloor(std::vector<double> levels)
    {
        std::ranges::transform(levels, levels.begin(),
                               [](double level) { return withoutFloor(level); });
        return levels;
    }

    /// All files are complete before the first of them appears.
    void commit()
    {
        output.finish();
        if (trace)
            trace->finish();
        if (picture)
            picture->finish();
        output.commit();
        if (trace)
            trace->commit();
        if (picture)
            picture->commit();
    }

    const Options& options;
    Existing existing;
    AudioFileReader reader;
    FileMetadata metadata;
    OutputFormat target;
    Stretch stretch;
    OutputFile output;
    AudioFileWriter writer;
    std::optional<TraceFile> trace;
    std::optional<OutputFile> picture;
    std::optional<Spectra> spectra;
    TrackingSummary tracking;
    TrackingSummary measuredTracking;
    StreamRemover remover;
};

} // namespace

Report clean(const Options& options)
{
    requireDistinct(options);
    return Cleaner(options).run();
}

} // namespace kalim::program
