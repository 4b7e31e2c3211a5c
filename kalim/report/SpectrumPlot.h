#pragma once

#include "audiofile/OutputFile.h"
#include "kalim/report/PlotCanvas.h"
#include "kalim/report/SpectrumMeter.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kalim::program
{

/// What pictures of spectra over time show.
struct SpectrogramData
{
    /// Of the recording, in seconds.
    double start = 0;
    double end = 0;

    /// Levels in dBFS, by column and bin; the first bin belongs to 0 Hz.
    double secondsPerColumn = 0;
    double binSpacing = 0;
    std::vector<std::vector<float>> before;
    std::vector<std::vector<float>> after;

    /// Fundamental in Hz, 0 where there is none.
    double secondsPerMoment = 0;
    std::vector<double> fundamental;
    std::string fundamentalLabel;

    /// Frequency in Hz that must be in sight.
    double highestHarmonic = 0;
};

/// What a picture of two spectra shows; levels are in dBFS, minus infinity stands for silence.
struct SpectrumPlotData
{
    std::string title;
    std::string subtitle;

    /// In Hz.
    double sampleRate = 0;

    /// Hz between neighbouring levels, of which the first belongs to 0 Hz.
    double binSpacing = 0;

    std::string beforeLabel;
    std::string afterLabel;
    std::vector<double> before;
    std::vector<double> after;

    /// For a mark at each.
    std::vector<HarmonicLevels> harmonics;

    /// Drawn below the spectra where there is any.
    std::optional<SpectrogramData> overTime{};
};

/// The kind of picture that a file name's extension asks for, in any letter case. Throws FileError
/// for anything but .png and .svg.
PictureKind pictureKindOf(const std::filesystem::path& path);

/// Draws a spectrum before and after the removal of hum, with a mark for every harmonic, and the
/// same over time where the data hold it, into a file whose name tells the kind; the caller commits
/// it. Throws FileError as pictureKindOf() does and when the file cannot be written,
/// std::runtime_error when the picture cannot be made.
void drawSpectrumPlot(OutputFile& output, const SpectrumPlotData& data);

} // namespace kalim::program
