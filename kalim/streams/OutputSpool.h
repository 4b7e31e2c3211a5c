#pragma once

#include "audiofile/OutputFile.h"
#include "kalim/streams/RawFormat.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kalim::program
{

/// A file for an output that is sent to a stream when it is complete, readable by its owner alone.
/// Signals and the destructor remove it.
class OutputSpool
{
public:
    /// Makes an empty file whose name has that extension. Throws FileError.
    explicit OutputSpool(const std::string& extension);
    ~OutputSpool();

    OutputSpool(const OutputSpool&) = delete;
    OutputSpool& operator=(const OutputSpool&) = delete;

    /// For an output that replaces the file.
    const std::filesystem::path& getPath() const { return path; }

    /// Sends the file, with `samples` only those of a WAV file, in that form. Throws FileError that
    /// names `name` when the stream does not take them.
    void send(int descriptor, const std::string& name,
              const std::optional<RawSamples>& samples) const;

private:
    std::filesystem::path path;
    std::optional<TemporaryFileRegistry::Entry> registration;
};

} // namespace kalim::program
