#pragma once

#include "presets/Preset.h"
#include "presets/PresetFolders.h"

#include <string>

namespace kalim
{

/// The preset that is meant: a file that exists, if the text has a '/' or ends in ".xml", else a
/// listed preset by "Name" or "Folder/Name", which is "/Name" for one in no subfolder. An exact
/// match comes before one without regard to case, and a user's preset before one of the factory.
/// Throws std::invalid_argument with a line for the user where none is meant or more than one.
Preset findPreset(const std::string& text, const PresetFolders& folders);

} // namespace kalim
