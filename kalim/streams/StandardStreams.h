#pragma once

#include "kalim/Options.h"
#include "kalim/report/Report.h"
#include "kalim/streams/InputSpool.h"

#include <filesystem>
#include <memory>
#include <string>

namespace kalim::program
{

bool isStream(const std::filesystem::path& name);

/// Throws UsageError where streams and other options do not go together.
void requireFittingStreams(const Options& options);

/// Does what clean() does, also where input or output are standard streams or the input has no
/// header. The output is complete before anything of it is written to standard output. Throws what
/// clean() throws, and FileError when standard output is closed.
Report cleanAnything(const Options& options);

/// Keeps standard input, or a file without a header, for reading; null for other files.
/// Throws FileError, and UsageError where standard input is a terminal.
std::unique_ptr<InputSpool> keepInput(const std::filesystem::path& input,
                                      const std::optional<RawFormat>& raw, bool mayBeCut);

/// What messages call an input.
std::string nameOfInput(const std::filesystem::path& input);

/// The text with another name in place of that of a file.
std::string renamed(std::string text, const std::filesystem::path& file, const std::string& name);

} // namespace kalim::program
