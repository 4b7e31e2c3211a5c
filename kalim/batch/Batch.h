#pragma once

#include "kalim/Options.h"

namespace kalim::program
{

/// Cleans many files into a folder, each in a process of its own, some at a time, and tells of
/// each. What an earlier run has finished and what has not changed since is left as it is. Returns
/// the exit code: 1 when a file failed. Throws FileError when folder, journal or report cannot be
/// written, and UsageError.
int runBatch(const Options& options);

} // namespace kalim::program
