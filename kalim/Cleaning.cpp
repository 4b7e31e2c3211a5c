#include "kalim/Cleaning.h"

#include "audiofile/AudioFileReader.h"
#include "audiofile/FileDamage.h"
#include "audiofile/OutputFile.h"
#include "audiofile/RecordingCopy.h"
#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/FilmWriter.h"
#endif
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/EngineStream.h"
#include "kalim/Measurements.h"
#include "kalim/Precise.h"
#include "kalim/Version.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/report/SpectrumPlot.h"
#include "kalim/report/Tracking.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;

/// About how many samples of all channels are read at once.
constexpr int readSize = 1 << 16;

constexpr const char* salvageHint = "; --salvage cleans what can be read";

/// What readings before the last take of the time: precise removal's survey, and a whole detection.
constexpr double surveyShare = 0.15;
constexpr double detectionShare = 0.8;

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

double secondsOf(const AudioFileReader& reader)
{
    return static_cast<double>(reader.getNumFrames()) / reader.getSampleRate();
}

/// A pattern such as *.wav that meets two recordings names the second as the output.
void requireEarlierResult(const Options& options)
{
    const bool isNear =
        resolvedTarget(options.input).parent_path() == resolvedTarget(options.output).parent_path();
    const bool isAlike =
        lowered(options.input.extension().native()) == lowered(options.output.extension().native());
    if (!options.overwrites || options.overwritesAnything || !isNear || !isAlike ||
        !std::filesystem::is_regular_file(options.output))
        return;
    double before = 0.0;
    double after = 0.0;
    try
    {
        after = secondsOf(AudioFileReader(options.output));
        before = secondsOf(AudioFileReader(options.input));
    }
    catch (const FileError&)
    {
        return; // What is no recording may be replaced, and the input is read again.
    }
    constexpr double tolerance = 0.1; // of codecs that add a block
    if (std::abs(before - after) > tolerance)
        throw UsageError(fmt::format("{}: holds another recording, {:.1f} s long and not {:.1f} s; "
                                     "--force --force replaces it",
                                     printable(options.output), after, before));
}

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

/// The files that a run writes beside the recording.
struct OutputFiles
{
    /// All files are complete before the first of them appears; the sound is a copy or a film.
    template <typename Sound>
    void commit(Sound& sound)
    {
        sound.finish();
        if (trace)
            trace->finish();
        if (picture)
            picture->finish();
        sound.commit();
        if (trace)
            trace->commit();
        if (picture)
            picture->commit();
    }

    std::optional<TraceFile> trace{};
    std::optional<OutputFile> picture{};
};

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
    data.title = printable(options.input.filename());
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

/// One run over one recording.
class Cleaner
{
public:
    Cleaner(const Options& given, const Progress& told)
        : options(given)
        , tell(told)
        , settings(given.settings)
        , reader(openWhole(given))
        , copy(reader, given.output,
               {given.format, given.quality, existing(), settings.isOn(Kalimmer::ResidualMode),
                fmt::format("Kalim {}", version)})
        , measurements(given, reader)
    {
        if (options.quality && !copy.getFormat().isLossy())
            throw UsageError(fmt::format("--quality: {} loses nothing; it is for lossy formats",
                                         copy.getFormat().getDescription()));
        if (options.plot)
            files.picture.emplace(*options.plot, existing());
        if (options.trace)
            files.trace.emplace(*options.trace, existing());
    }

    Report run()
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
        if (files.picture)
            drawSpectrumPlot(*files.picture, describePicture(options, report, measurements));
        return report;
    }

    OutputFiles& getFiles() { return files; }

    const AudioFileReader& getReader() const { return reader; }

    RecordingCopy& getCopy() { return copy; }

private:
    Existing existing() const { return options.overwrites ? Existing::replace : Existing::keep; }

    void showProgress(double share)
    {
        if (progress)
            progress->update(share);
        if (tell)
            tell(share);
    }

    void openStream()
    {
        const auto show = [this](double share) { showProgress(share * startShare); };
        if (options.method == Method::precise)
        {
            startShare = surveyShare;
            auto opened =
                std::make_unique<PreciseStream>(surveyRecording(reader, learnHumShape(), show),
                                                settings.isOn(Kalimmer::ResidualMode),
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

    orvo::audio::precise::PreciseSettings learnHumShape()
    {
        if (!options.learned)
            return options.precise;
        const auto part = withUsageError<std::invalid_argument>(
            "--learn: ",
            [&] {
                return MeasuredSamples(options.learned, reader.getNumFrames(),
                                       reader.getSampleRate());
            });
        return learnFromRecording(reader, options.precise, part);
    }

    void processAll()
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

    void take(std::span<const float> cleaned)
    {
        measurements.addOutput(cleaned, copy.getNumFrames());
        copy.write(cleaned);
    }

    void observe(const Kalimmer& analysed, std::int64_t position)
    {
        measurements.addFundamental(analysed.getCurrentFundamental(), position);
        if (files.trace)
            files.trace->add(static_cast<double>(position) / reader.getSampleRate(), analysed,
                             settings.getSelection());
    }

    void addCourse()
    {
        const std::vector<int> numbers = numbersOf(precise->getSummary());
        for (const auto& moment : precise->getSummary().getCourse())
        {
            if (!moment.isOn)
                continue;
            measurements.addFundamental(static_cast<float>(moment.frequency),
                                        std::llround(moment.time * reader.getSampleRate()));
            if (files.trace)
                files.trace->add(moment.time, moment.frequency, numbers);
        }
    }

    Report describe() const
    {
        Report report;
        report.input = printable(options.input);
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

    std::vector<HarmonicLevels> findHarmonics() const
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

    std::vector<std::string> findWarnings(const std::vector<FileNote>& damages) const
    {
        std::vector<std::string> warnings;
        for (const FileNote& damage : damages)
            warnings.push_back(fmt::format("{}: {}", printable(options.input), damage.text));
        if (numLimited > 0)
            warnings.push_back(fmt::format(
                "{}: {} too large to be sound and limited", printable(options.input),
                numLimited == 1 ? "1 sample is" : fmt::format("{} samples are", numLimited)));
        if (!stream->canRemove())
            warnings.push_back(fmt::format(
                "nothing was removed: no hum can be told apart at a sample rate of {} Hz",
                reader.getSampleRate()));
        if (!options.automatic.empty() && settings.getSelection().count == 0)
            warnings.push_back("no hum was found to take settings from; nothing was removed");
        const std::vector<std::string> losses = copy.findWarnings();
        warnings.insert(warnings.end(), losses.begin(), losses.end());
        return limited(std::move(warnings));
    }

    const Options& options;
    const Progress& tell;
    HumSettings settings;
    AudioFileReader reader;
    RecordingCopy copy;
    Measurements measurements;
    OutputFiles files;
    std::unique_ptr<HumStream> stream;
    PreciseStream* precise = nullptr; // the stream, where it is one
    std::optional<ProgressBar> progress;
    std::int64_t numLimited = 0;
    double startShare = 0.0; // of the work, before the stream begins
};

/// The last moment to end the work by throwing.
void tellEnd(const Progress& progress)
{
    if (progress)
        progress(1.0);
}

#ifdef KALIM_HAS_FFMPEG
/// One stream of sound of a film on its way into the new one.
struct Track
{
    Track(Options given, const Progress& progress)
        : options(std::move(given))
        , cleaner(options, progress)
    {
    }

    Options options;
    Cleaner cleaner;
};

/// The options for one stream, whose sound goes into a hidden file that never gets its name.
Options optionsForTrack(const Options& options, int stream, bool isFirst)
{
    Options own = options;
    own.stream = stream;
    own.output += fmt::format(".{}.caf", stream);
    own.format = {ContainerName::caf, SampleFormat::float32};
    own.overwrites = true;
    if (!isFirst)
    {
        own.trace.reset();
        own.plot.reset();
    }
    return own;
}

/// The report is that of the first stream, with the warnings of all.
Report cleanFilm(const Options& options, const Progress& progress)
{
    OutputFile film(options.output, options.overwrites ? Existing::replace : Existing::keep);
    std::vector<std::unique_ptr<Track>> tracks;
    std::vector<media::NewSound> sounds;
    Report report;
    for (const int stream : media::soundStreamsOf(options.input))
    {
        auto& track = *tracks.emplace_back(
            std::make_unique<Track>(optionsForTrack(options, stream, tracks.empty()), progress));
        const Report own = track.cleaner.run();
        const AudioFileReader& reader = track.cleaner.getReader();
        sounds.push_back({stream, track.cleaner.getCopy().getTemporaryPath(), reader.getStartTime(),
                          reader.getFormat()});
        if (tracks.size() == 1)
            report = own;
        else
            report.warnings.insert(report.warnings.end(), own.warnings.begin(), own.warnings.end());
        report.isSalvaged = report.isSalvaged || own.isSalvaged;
    }
    const media::WrittenFilm written = media::writeFilm(options.input, film, sounds);
    report.output = printable(options.output);
    report.outputFormat = written.format;
    report.warnings.insert(report.warnings.end(), written.losses.begin(), written.losses.end());
    tellEnd(progress);
    tracks.front()->cleaner.getFiles().commit(film);
    return report;
}
#endif

} // namespace

Report clean(const Options& options, const Progress& progress)
{
    requireDistinct(options);
    requireEarlierResult(options);
    try
    {
#ifdef KALIM_HAS_FFMPEG
        if (media::isFilmName(options.output))
            return cleanFilm(options, progress);
#endif
        Cleaner cleaner(options, progress);
        Report report = cleaner.run();
        tellEnd(progress);
        cleaner.getFiles().commit(cleaner.getCopy());
        return report;
    }
    catch (const DamagedFileError& error)
    {
        throw FileError({}, error.what() + std::string(salvageHint));
    }
}

} // namespace kalim::program
