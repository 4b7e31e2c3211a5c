#include "tools/kalim/Cleaning.h"

#include "dsp/hum/HarmonicSelection.h"
#include "tools/kalim/StreamRemover.h"
#include "tools/kalim/Version.h"
#include "tools/kalim/files/AudioFileReader.h"
#include "tools/kalim/files/AudioFileWriter.h"
#include "tools/kalim/files/FileError.h"
#include "tools/kalim/files/FileMetadata.h"
#include "tools/kalim/files/OutputFile.h"
#include "tools/kalim/report/ProgressBar.h"
#include "tools/kalim/report/SpectrumMeter.h"
#include "tools/kalim/report/SpectrumPlot.h"
#include "tools/kalim/report/TraceFile.h"
#include "tools/kalim/report/TrackingSummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <vector>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;

/// The strongest line this close to a harmonic is taken for it, in Hz; for each harmonic a little
/// more, since an error of the tracking counts once per harmonic.
constexpr double fixedReach = 1.0;
constexpr double reachPerHarmonic = 0.1;

/// About how many samples of all channels are read at once.
constexpr int readSize = 1 << 16;

void requireDistinct(const Options& options)
{
    if (isSameFile(options.input, options.output))
        throw FileError(options.output, "is the input itself; choose another name");
    std::vector<std::filesystem::path> outputs{options.output};
    for (const auto& extra : {options.trace, options.plot})
    {
        if (!extra)
            continue;
        if (std::ranges::find(outputs, *extra) != outputs.end() ||
            isSameFile(options.input, *extra))
            throw FileError(*extra, "is named twice");
        outputs.push_back(*extra);
    }
}

/// The measured part of the recording, in samples per channel.
class Stretch
{
public:
    Stretch(const std::optional<TimeRange>& range, std::int64_t length, int sampleRate)
        : first(range ? std::llround(range->start * sampleRate) : 0)
        , last(range ? std::llround(range->end * sampleRate) : length)
    {
        if (last > length)
            throw UsageError(fmt::format("--measure: the recording is only {:.3f} s long",
                                         static_cast<double>(length) / sampleRate));
    }

    std::int64_t getLength() const { return last - first; }

    bool contains(std::int64_t position) const { return first <= position && position < last; }

    /// What of a piece that starts at `position` lies within.
    std::span<const float> cut(std::span<const float> interleaved, std::int64_t position,
                               int channels) const
    {
        const std::int64_t count = static_cast<std::int64_t>(interleaved.size()) / channels;
        const std::int64_t from = std::clamp<std::int64_t>(first - position, 0, count);
        const std::int64_t to = std::clamp<std::int64_t>(last - position, from, count);
        return interleaved.subspan(static_cast<std::size_t>(from * channels),
                                   static_cast<std::size_t>((to - from) * channels));
    }

private:
    std::int64_t first;
    std::int64_t last;
};

/// One run over one recording.
class Cleaner
{
public:
    explicit Cleaner(const Options& given)
        : options(given)
        , existing(given.overwrites ? Existing::replace : Existing::keep)
        , reader(given.input)
        , metadata(reader)
        , target(chooseOutputFormat(reader.format(),
                                    {reader.frames(), reader.channels(), reader.sampleRate()},
                                    given.output, given.format))
        , stretch(given.measured, reader.frames(), reader.sampleRate())
        , output(given.output, existing)
        , writer(output, target.format, reader.channels(), reader.sampleRate())
        , before(reader.channels(), reader.sampleRate(), stretch.getLength())
        , after(reader.channels(), reader.sampleRate(), stretch.getLength())
        , tracking(given.settings.get(Kalimmer::FundamentalFrequency))
        , measuredTracking(tracking)
        , remover(given.settings, reader.channels(), reader.sampleRate(), given.blockSize,
                  [this](const Kalimmer& engine, std::int64_t position)
                  { observe(engine, position); })
    {
        if (options.trace)
            trace.emplace(*options.trace, existing);
        if (options.plot)
        {
            pictureKindOf(*options.plot);
            picture.emplace(*options.plot, existing);
        }
        metadata.applyTo(writer, fmt::format("Kalim {}", version));
    }

    Report run()
    {
        const auto start = std::chrono::steady_clock::now();
        processAll();
        writer.close();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        before.finish();
        after.finish();
        Report report = describe();
        report.timesRealTime = report.getSeconds() / std::max(taken.count(), 1e-9);
        report.warnings = target.warnings;
        const std::vector<std::string> losses = metadata.lossesIn(output.temporaryPath());
        report.warnings.insert(report.warnings.end(), losses.begin(), losses.end());
        if (picture)
            drawSpectrumPlot(*picture, describePicture(report));
        commit();
        return report;
    }

private:
    void processAll()
    {
        const int channels = reader.channels();
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
            before.add(stretch.cut(piece, position, channels));
            remover.process(piece, write);
            position += count;
            if (progress)
                progress->update(static_cast<double>(position) /
                                 static_cast<double>(reader.frames()));
        }
        remover.finish(write);
    }

    void take(std::span<const float> cleaned)
    {
        after.add(stretch.cut(cleaned, writer.framesWritten(), reader.channels()));
        writer.write(cleaned);
    }

    void observe(const Kalimmer& engine, std::int64_t position)
    {
        tracking.add(engine.getCurrentFundamental());
        if (stretch.contains(position))
            measuredTracking.add(engine.getCurrentFundamental());
        if (trace)
            trace->add(static_cast<double>(position) / reader.sampleRate(), engine);
    }

    Report describe() const
    {
        Report report;
        report.input = printable(options.input);
        report.output = printable(options.output);
        report.inputFormat = reader.format().description();
        report.outputFormat = target.format.description();
        report.sampleRate = reader.sampleRate();
        report.channels = reader.channels();
        report.samples = writer.framesWritten();
        report.settings = options.settings;
        report.fundamentalAtStart = tracking.getStart();
        report.fundamentalAtEnd = tracking.getEnd();
        report.lowestFundamental = tracking.getLowest();
        report.highestFundamental = tracking.getHighest();
        report.measured = options.measured;
        report.harmonics = measureHarmonics();
        report.nonFiniteSamples = remover.getNumNonFinite();
        report.clippedSamples = writer.clippedSamples();
        return report;
    }

    /// Levels before and after at the very frequencies at which the hum's lines stood out before.
    std::vector<HarmonicLevels> measureHarmonics() const
    {
        const orvo::audio::HarmonicSelection selection(
            static_cast<int>(options.settings.get(Kalimmer::NumberOfHarmonics)),
            options.settings.isOn(Kalimmer::OnlyOddHarmonics));
        const std::vector<double> levelsBefore = before.getLevels();
        const std::vector<double> levelsAfter = after.getLevels();
        std::vector<HarmonicLevels> harmonics;
        for (int index = 0; index < selection.count; ++index)
        {
            const int number = selection.getHarmonicNumber(index);
            const double frequency = number * static_cast<double>(measuredTracking.getMean());
            const double reach = fixedReach + reachPerHarmonic * number;
            if (frequency + reach > reader.sampleRate() / 2.0)
                break;
            const std::size_t bin =
                findStrongest(levelsBefore, frequency - reach, frequency + reach);
            harmonics.push_back({number, static_cast<double>(bin) * before.getBinSpacing(),
                                 levelsBefore[bin], levelsAfter[bin]});
        }
        return harmonics;
    }

    /// The bin of the highest level between two frequencies in Hz.
    std::size_t findStrongest(const std::vector<double>& levels, double from, double to) const
    {
        const double last = static_cast<double>(levels.size()) - 1.0;
        const double low = std::clamp(std::floor(from / before.getBinSpacing()), 0.0, last);
        const double high = std::clamp(std::ceil(to / before.getBinSpacing()), low, last);
        const auto first = levels.begin() + static_cast<std::ptrdiff_t>(low);
        const auto end = levels.begin() + static_cast<std::ptrdiff_t>(high) + 1;
        return static_cast<std::size_t>(std::max_element(first, end) - levels.begin());
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
        data.sampleRate = reader.sampleRate();
        data.binSpacing = before.getBinSpacing();
        data.beforeLabel = "before";
        data.afterLabel = isResidual ? "what was removed" : "after";
        data.before = withoutFloor(before.getLevels());
        data.after = withoutFloor(after.getLevels());
        for (const HarmonicLevels& harmonic : report.harmonics)
            data.harmonics.push_back(
                {harmonic.number, harmonic.frequency, harmonic.before, harmonic.after});
        return data;
    }

    /// Silence has no place on a scale of levels.
    static std::vector<double> withoutFloor(std::vector<double> levels)
    {
        std::ranges::replace_if(
            levels, [](double level) { return level <= SpectrumMeter::floorDb; },
            -std::numeric_limits<double>::infinity());
        return levels;
    }

    void commit()
    {
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
    SpectrumMeter before;
    SpectrumMeter after;
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
