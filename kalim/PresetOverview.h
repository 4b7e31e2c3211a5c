#pragma once

#include "presets/PresetCatalogue.h"

#include <string>
#include <vector>

namespace kalim::program
{

/// Listed presets below headings of their folders, for people.
std::string presetsToText(const std::vector<Preset>& presets, const PresetFolders& folders);

/// For programs: one JSON object with both folders, null where there is none, and the presets in
/// their order.
std::string presetsToJson(const std::vector<Preset>& presets, const PresetFolders& folders);

} // namespace kalim::program
