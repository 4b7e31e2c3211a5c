#pragma once

#include "kalim/Options.h"
#include "kalim/report/Report.h"

namespace kalim::program
{

/// Does what the command line asks for: cleans the recording, and measures, traces and draws on the
/// way. Nothing appears under its final name before all of it is complete. Throws FileError when a
/// file cannot be read or written and UsageError when the options do not fit the recording.
Report clean(const Options& options);

} // namespace kalim::program
