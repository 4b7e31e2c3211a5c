#pragma once

#include "kalim/detect/DetectionOutput.h"
#include "kalim/detect/FileFindings.h"
#include "kalim/streams/RawFormat.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace kalim::program
{

/// Everything that the verb "detect" is told.
struct DetectionOptions
{
    std::vector<std::filesystem::path> inputs;
    std::optional<RawFormat> raw;
    DetectionRequest request;
    DetectionStyle style = DetectionStyle::text;
    bool isRecursive = false;
    int numJobs = 1;
    bool isQuiet = false;
};

/// Looks at all inputs, several at a time, and shows what was found out in their order. Gives the
/// exit code. Throws FileError where standard input cannot be kept, and UsageError.
int lookAtInputs(DetectionOptions options);

} // namespace kalim::program
