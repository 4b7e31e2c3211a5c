#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kalim
{

/// A value in its natural unit for the parameter of an id.
struct ParameterValue
{
    int id = 0;
    float value = 0.0F;
};

/// What a preset file says.
struct PresetContent
{
    /// In the order of the file; the ids are not negative, but need not be those of parameters.
    std::vector<ParameterValue> values;

    /// The element "CustomData" as XML, empty where there is none.
    std::string customData;
};

/// A parameter as it is written to a preset file; unit and name are for people only.
struct PresetParameter
{
    int id = 0;
    std::string unit;
    double value = 0.0;
    std::string name;
};

/// Takes regular files up to 1 MiB of valid UTF-8, without document types and entities, not nested
/// deeper than 64 levels. Text that is not a number counts as 0 in a value, and as no parameter in
/// an id; what follows a number does not matter. Throws FileError for anything else and for what is
/// no preset.
PresetContent readPresetFile(const std::filesystem::path& file);

/// Writes beside the file and then replaces it, so that a failure leaves an old file as it was.
/// `customData` is the element "CustomData", indented as it is to stand in the file. Throws
/// FileError where not everything could be written, as on a full disk.
void writePresetFile(const std::filesystem::path& file,
                     const std::vector<PresetParameter>& parameters,
                     const std::string& customData = "<CustomData/>");

} // namespace kalim
