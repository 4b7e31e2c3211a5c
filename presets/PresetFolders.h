#pragma once

#include <filesystem>

namespace kalim
{

/// Where presets are kept; neither needs to exist, and an empty path stands for no folder.
struct PresetFolders
{
    std::filesystem::path factory;
    std::filesystem::path user;
};

/// Those of the running program and of the user who runs it.
PresetFolders findPresetFolders();

/// The first folder, from the given one upwards, that holds "Contents/Resources": that of the
/// bundle around a plug-in's or a program's binary. Empty where there is none.
std::filesystem::path findBundleFolder(const std::filesystem::path& folder);

/// The factory presets of the bundle that a program is in. Empty where it is in none.
std::filesystem::path findFactoryPresets(const std::filesystem::path& program);

/// The presets of the user with that home, in the folder where the plug-in keeps them: below
/// "~/.config", unless a line XDG_CONFIG_HOME of "~/.config/user-dirs.dirs" names another folder
/// that exists. Empty for an empty home.
std::filesystem::path findUserPresets(const std::filesystem::path& home);

} // namespace kalim
