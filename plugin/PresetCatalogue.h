#pragma once

#include <juce_data_structures/juce_data_structures.h>
#include <mutex>
#include <vector>

/// The presets that are there: the files of two folders and of their direct subfolders, sorted by
/// name, numbered from 0, those of the factory first. Message thread, except for `size` and `find`,
/// which hosts may call from any thread but the audio thread.
class PresetCatalogue
{
public:
    /// A preset's name and the full path of its file.
    struct PresetData
    {
        juce::String name;
        juce::String path;
    };

    /// Reads the folders again.
    void update(const juce::File& factoryPresetFolder, const juce::File& userPresetFolder);

    int size() const;

    /// The preset with that index; an empty one when there is none.
    PresetData find(int index) const;

    /// The index of the preset called "Reset" in any letter case, 0 if there is none.
    int getResetPresetIndex() const { return resetPresetIndex; }

    /// "Root" with two nodes "PresetFolder", "Factory presets" and "User presets" by "Name"; in
    /// each the "Preset" nodes of its files, with "Name" and "Index", and then a "PresetFolder" for
    /// every subfolder.
    const juce::ValueTree& getTree() const { return presetTree; }

private:
    void loadPresetDirectory(juce::ValueTree& node, const juce::File& folder, int& index);
    void addPresetFilesToFolderNode(const juce::File& folder, juce::ValueTree& node, int& index);

    juce::ValueTree presetTree{"Root"};
    int resetPresetIndex = 0;

    mutable std::mutex guard;
    std::vector<PresetData> presets;
    std::vector<PresetData> presetsBeingRead;
};
