#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kalim
{

/// What the names of preset files end in.
constexpr std::string_view presetExtension = ".xml";

enum class PresetOrigin
{
    factory,
    user,

    /// Named by its path, wherever it is.
    file
};

/// A preset file and what it is called.
struct Preset
{
    PresetOrigin origin = PresetOrigin::file;

    /// The subfolder of the presets that it is in, empty where it is in none.
    std::string folder;

    /// As presetNameOf() its file.
    std::string name;

    std::filesystem::path file;
};

/// A file's name without the extension of presets, if it has that.
std::string presetNameOf(const std::filesystem::path& file);

} // namespace kalim
