#pragma once

#include "dsp/hum/HumParameters.h"
#include "plugin/BasePluginProcessor.h"
#include "standalone/Progress.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace kalim::standalone
{

/// How a whole file is cleaned.
enum class CleaningMethod
{
    asHeard, ///< by the engine with the window's settings, as it sounds
    precise  ///< by an analysis of the whole file; of the settings only the residual mode counts
};

/// The window's settings by their ids, in natural units.
using WindowSettings = std::array<float, orvo::audio::numHumParameters>;

WindowSettings getWindowSettings(const BasePlugInProcessor& plugIn);

/// Writes a cleaned copy with all channels and descriptions of the file, or what was removed; its
/// name's ending chooses the format. Nothing appears under that name before it is complete.
/// Returns what was lost on the way, one line each. Throws FileError and Cancelled. Never on the
/// message thread.
std::vector<std::string> writeCleaned(const std::filesystem::path& input,
                                      const std::filesystem::path& output, CleaningMethod method,
                                      const WindowSettings& settings, Progress& progress);

} // namespace kalim::standalone
