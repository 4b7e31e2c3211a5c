#pragma once

#include "presets/Preset.h"
#include "presets/PresetFolders.h"

#include <vector>

namespace kalim
{

/// All presets, those of the factory first: the "*.xml" files of a folder, then those of each of
/// its subfolders, sorted by name without regard to case. Hidden files are left out, and folders
/// that cannot be read are empty.
std::vector<Preset> listPresets(const PresetFolders& folders);

} // namespace kalim
