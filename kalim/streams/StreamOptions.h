#pragma once

#include "audiofile/OutputFormat.h"
#include "kalim/streams/RawFormat.h"

#include <optional>
#include <string>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// What stands for standard input or output in place of a file's name.
inline constexpr const char* streamName = "-";

/// What is told of sound without a header.
struct StreamOptions
{
    /// What the input is, if it has no header.
    std::optional<RawFormat> rawInput;

    /// Whether the output is to have none, and which samples; those of the input where not told.
    bool isRawOutput = false;
    std::optional<RawSamples> rawOutput;
};

/// The options of streams as the user spelt them.
struct StreamOptionTexts
{
    std::string raw;

    void add(CLI::App& app, const std::string& group);

    /// Takes also what `format` says of raw output, which is then a request for WAV that holds the
    /// same samples. Throws UsageError.
    StreamOptions parse(const std::string& format, FormatRequest& request) const;
};

} // namespace kalim::program
