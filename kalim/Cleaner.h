#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/OutputFile.h"
#include "audiofile/RecordingCopy.h"
#include "kalim/Measurements.h"
#include "kalim/Options.h"
#include "kalim/Precise.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/report/Report.h"
#include "kalim/report/Tracking.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kalim::program
{

/// What a damaged recording's error ends with.
inline constexpr const char* salvageHint = "; --salvage cleans what can be read";

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
        for (OutputFile& file : reports)
            file.finish();
        sound.commit();
        if (trace)
            trace->commit();
        for (OutputFile& file : reports)
            file.commit();
    }

    std::optional<TraceFile> trace{};

    /// Those that are written at the end. They cannot be moved.
    std::deque<OutputFile> reports{};
    OutputFile* picture = nullptr;
    OutputFile* provenance = nullptr;
    std::vector<OutputFile*> speedReports{};
};

/// One run over one recording.
class Cleaner
{
public:
    /// Opens the input and all files to be written; `given` and `told` must outlive it. Throws
    /// FileError and, where the options do not fit the recording, UsageError.
    Cleaner(const Options& given, const Progress& told);

    /// Tells of the files what can be told once the output is complete, but under another name; to
    /// be called at the end.
    void addRecords(Report& report, const std::filesystem::path& output,
                    const std::filesystem::path& written);

    /// Does the work, after which the files are complete but for their names.
    Report run();

    OutputFiles& getFiles() { return files; }

    const AudioFileReader& getReader() const { return reader; }

    RecordingCopy& getCopy() { return copy; }

private:
    Existing existing() const { return options.overwrites ? Existing::replace : Existing::keep; }

    void showProgress(double share);
    void openStream();
    orvo::audio::precise::PreciseSettings learnHumShape();
    void processAll();
    void take(std::span<const float> cleaned);
    void observe(const orvo::audio::Kalimmer& analysed, std::int64_t position);
    void addCourse();
    void writeSpeedReports(Report& report) const;
    Report describe() const;
    std::vector<HarmonicLevels> findHarmonics() const;
    std::vector<std::string> findWarnings(const std::vector<FileNote>& damages) const;

    const Options& options;
    const Progress& tell;
    HumSettings settings;
    AudioFileReader reader;
    RecordingCopy copy;
    Measurements measurements;
    SpeedCourse speed;
    OutputFiles files;
    std::unique_ptr<HumStream> stream;
    PreciseStream* precise = nullptr; // the stream, where it is one
    std::optional<ProgressBar> progress;
    std::int64_t numLimited = 0;
    double startShare = 0.0; // of the work, before the stream begins
};

} // namespace kalim::program
