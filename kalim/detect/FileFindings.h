#pragma once

#include "dsp/precise/PreciseRemover.h"
#include "kalim/Precise.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace kalim::program
{

/// How recordings are looked at.
struct DetectionRequest
{
    orvo::audio::precise::PreciseSettings settings;
    bool measuresQuality = true;

    /// Whether the text is a single line.
    bool isBrief = false;
};

/// What was found out about one file.
struct FileFindings
{
    /// For programs: "file", "hum", "quality" and "damages", or "file" and "error".
    nlohmann::ordered_json row;

    /// For people, whole lines; empty where the file could not be read.
    std::string text;

    /// Why the file was not looked at, or not at all of it; one line each.
    std::vector<std::string> problems;
};

/// Reads a recording twice; throws nothing but std::bad_alloc.
FileFindings lookAt(const std::filesystem::path& file, const DetectionRequest& request,
                    const Progress& progress);

/// Findings of a file that nothing but the reason is known of, which begins with its name.
FileFindings makeFailure(const std::filesystem::path& file, const std::string& reason);

/// The findings as text that another process can read, and back.
std::string pack(const FileFindings& findings);

/// Throws nlohmann::json::exception for any other text.
FileFindings unpack(const std::string& packed);

} // namespace kalim::program
