#pragma once

#include "presets/PresetFolders.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kalim
{

/// Whose preset it is.
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

    /// The file's name without ".xml".
    std::string name;

    std::filesystem::path file;
};

/// The presets of one folder.
struct PresetGroup
{
    PresetOrigin origin = PresetOrigin::file;

    /// The name of the subfolder, empty for the presets that are in none.
    std::string folder;

    std::vector<Preset> presets;
};

/// All presets, the factory presets first: for each origin the "*.xml" files of its folder and then
/// those of each of its subfolders, empty ones included. Files and subfolders are sorted by name
/// without regard to case. Hidden ones are left out, and folders that cannot be read are empty.
std::vector<PresetGroup> listPresetGroups(const PresetFolders& folders);

/// The same presets without their groups. Hosts know them by their indices.
std::vector<Preset> listPresets(const PresetFolders& folders);

/// The index of the last preset called "Reset" in any letter case.
std::optional<std::size_t> findResetPreset(const std::vector<Preset>& presets);

/// The preset that a user means: a file that exists, if the text has a '/' or ends in ".xml", else
/// a listed preset by "Name" or "Folder/Name", which is "/Name" for one in no subfolder. An exact
/// match comes before one without regard to case, and a user's preset before a factory preset.
/// Throws std::invalid_argument with a line for the user where none is meant or more than one.
Preset findPreset(const std::string& text, const PresetFolders& folders);

} // namespace kalim
