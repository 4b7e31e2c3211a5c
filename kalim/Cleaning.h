#pragma once

#include "kalim/Options.h"
#include "kalim/Precise.h"
#include "kalim/report/Report.h"

namespace kalim::program
{

/// Does what the command line asks for: cleans the recording, and measures, traces and draws on the
/// way. Nothing appears under its final name before all of it is complete. Throws FileError when a
/// file cannot be read or written and UsageError when the options do not fit the recording.
/// `progress` is told instead of a bar on the terminal; what it throws ends the work, the last time
/// with a share of 1 before the files get their names.
Report clean(const Options& options, const Progress& progress = {});

} // namespace kalim::program
