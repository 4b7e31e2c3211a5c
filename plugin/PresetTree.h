#pragma once

#include "presets/PresetCatalogue.h"

#include <filesystem>
#include <functional>
#include <juce_data_structures/juce_data_structures.h>
#include <mutex>
#include <vector>

namespace kalim::plugin
{

/// The catalogue of presets as hosts and editors see it. Message thread, except for `size` and
/// `find`, which hosts may call from any thread but the audio thread.
class PresetTree
{
public:
    /// Reads the folders again.
    void update(const PresetFolders& folders);

    int size() const;

    /// The preset with that index; an empty one when there is none.
    Preset find(int index) const;

    /// The index of the preset in that file, -1 when there is none.
    int findIndex(const std::filesystem::path& file) const;

    /// The index of the first preset with that name, -1 when there is none.
    int findIndex(const juce::String& name) const;

    /// The index of the preset called "Reset" in any letter case, 0 if there is none.
    int getResetPresetIndex() const;

    /// "Root" with two nodes "PresetFolder", "Factory presets" and "User presets" by "Name"; in
    /// each the "Preset" nodes of its files, with "Name" and "Index", and then a "PresetFolder" for
    /// every subfolder.
    const juce::ValueTree& getTree() const { return presetTree; }

private:
    int findIndexIf(const std::function<bool(const Preset&)>& isWanted) const;

    juce::ValueTree presetTree{"Root"};

    mutable std::mutex guard;
    std::vector<Preset> presets;
};

/// A file's name as text, also where it is no valid UTF-8.
juce::String toText(const std::string& name);

} // namespace kalim::plugin
