#pragma once

#include "audiofile/OutputFile.h"
#include "kalim/report/Report.h"

#include <filesystem>

namespace kalim::program
{

/// The file in which the origin of an output is told, beside it.
std::filesystem::path provenanceOf(const std::filesystem::path& output);

/// Tells in PREMIS 3 what became of a recording: both files with size, format and SHA-256, the
/// program, and the event with everything that was set. The content of the output stands in
/// `written` so far. Throws FileError.
void writeProvenance(OutputFile& file, const Report& report, const std::filesystem::path& input,
                     const std::filesystem::path& output, const std::filesystem::path& written);

} // namespace kalim::program
