#pragma once

#include "kalim/HumSettings.h"
#include "plugin/BasePluginProcessor.h"
#include "standalone/Progress.h"

#include <filesystem>
#include <optional>
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

program::HumSettings getWindowSettings(const BasePlugInProcessor& plugIn);

/// Writes a cleaned copy of a file, or what was removed, as the program for the command line does;
/// its name's ending chooses the format. Nothing appears under that name before it is complete.
/// Returns what was lost on the way, one line each. Throws FileError, UsageError and Cancelled.
/// Never on the message thread.
std::vector<std::string> writeCleaned(const std::filesystem::path& input,
                                      const std::filesystem::path& output, CleaningMethod method,
                                      const program::HumSettings& settings, Progress& progress);

/// The hum of a file in the terms of the window's settings.
struct FoundHum
{
    double frequency; ///< Hz
    int numHarmonics; ///< 1 to 96, of the odd ones if there are no others
    bool isOnlyOdd;
    orvo::audio::precise::HumKind kind;
};

/// The harmonics that stand out of the sound decide how many are to be removed. Nothing without
/// hum. Throws FileError and Cancelled. Never on the message thread: a minute of sound takes
/// seconds.
std::optional<FoundHum> findHum(const std::filesystem::path& file, Progress& progress);

/// Makes it the window's settings, as one change of the user's. Message thread.
void applyHum(BasePlugInProcessor& plugIn, const FoundHum& hum);

} // namespace kalim::standalone
