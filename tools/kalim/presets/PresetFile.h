#pragma once

#include "tools/kalim/HumSettings.h"

#include <filesystem>
#include <vector>

namespace kalim::program
{

/// The values that a preset file sets, in its order; the ids need not be those of parameters.
/// Takes regular files up to 1 MiB of valid UTF-8, without document types and entities, not nested
/// deeper than 64 levels. Throws FileError for anything else and for what is no preset.
std::vector<ParameterValue> readPresetFile(const std::filesystem::path& file);

} // namespace kalim::program
