#pragma once

#include <filesystem>
#include <vector>

namespace kalim
{

/// A value in its natural unit for the parameter of an id.
struct ParameterValue
{
    int id = 0;
    float value = 0.0F;
};

/// The values that a preset file sets, in its order; the ids need not be those of parameters.
/// Takes regular files up to 1 MiB of valid UTF-8, without document types and entities, not nested
/// deeper than 64 levels. Throws FileError for anything else and for what is no preset.
std::vector<ParameterValue> readPresetFile(const std::filesystem::path& file);

} // namespace kalim
