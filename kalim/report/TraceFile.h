#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/Kalimmer.h"
#include "audiofile/OutputFile.h"

#include <filesystem>
#include <string>

namespace kalim::program
{

/// The course of the tracking as a table of comma-separated values: a row per analysis with the
/// time in seconds, the tracked fundamental in Hz and the numbers of the harmonics present, between
/// spaces.
class TraceFile
{
public:
    /// Throws FileError, as OutputFile does.
    TraceFile(const std::filesystem::path& path, Existing existing,
              orvo::audio::HarmonicSelection selection);

    /// Writes a row. Throws FileError.
    void add(double seconds, const orvo::audio::Kalimmer& remover);

    /// Makes the file complete and durable. Throws FileError.
    void finish();

    /// Puts the finished file under its name. Throws FileError.
    void commit() { file.commit(); }

private:
    void write();

    OutputFile file;
    orvo::audio::HarmonicSelection selection;
    std::string text;
};

} // namespace kalim::program
