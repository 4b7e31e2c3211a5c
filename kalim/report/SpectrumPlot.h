#pragma once

#include "audiofile/OutputFile.h"
#include "kalim/report/PlotCanvas.h"
#include "kalim/report/SpectrumPlotData.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace kalim::program
{

/// The kind of picture that a file name's extension asks for, in any letter case.
/// @throws FileError for anything but .png and .svg
PictureKind pictureKindOf(const std::filesystem::path& path);

/// Draws a spectrum before and after the removal of hum, with a mark for every harmonic.
/// @returns the bytes of the picture file
/// @throws std::runtime_error when the picture cannot be made
std::vector<std::byte> renderSpectrumPlot(const SpectrumPlotData& data, PictureKind kind);

/// Draws the picture into a file whose name tells the kind; the caller commits it.
/// @throws FileError as pictureKindOf(), and when it cannot be written
void drawSpectrumPlot(OutputFile& output, const SpectrumPlotData& data);

} // namespace kalim::program
