#include "kalim/Cleaning.h"

#include "audiofile/FileDamage.h"
#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/FilmWriter.h"
#endif
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Cleaner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kalim::program
{
namespace
{

void requireDistinct(const Options& options)
{
    if (isSameFile(options.input, options.output))
        throw UsageError(printable(options.output) + ": is the input itself; choose another name");
    std::vector<std::filesystem::path> outputs;
    std::vector<std::optional<std::filesystem::path>> all{options.output, options.trace,
                                                          options.plot, options.provenance};
    all.insert(all.end(), options.speedReports.begin(), options.speedReports.end());
    for (const auto& output : all)
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
        own.speedReports.clear();
        own.provenance.reset();
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
    tracks.front()->cleaner.addRecords(report, options.output, film.getTemporaryPath());
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
        cleaner.addRecords(report, options.output, cleaner.getCopy().getTemporaryPath());
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
