#include "plugin/PresetCatalogue.h"

#include <algorithm>
#include <string>
#include <utility>

namespace
{

const juce::Identifier folderType("PresetFolder");
const juce::Identifier presetType("Preset");
const juce::Identifier nameProperty("Name");
const juce::Identifier indexProperty("Index");

/// What names are sorted by: without regard to the case of letters from A to Z, and where that
/// makes no difference, with it. No setting of the system has a say, because hosts store the
/// numbers that follow.
std::pair<std::string, std::string> makeSortingKey(const juce::String& name)
{
    const std::string exact = name.toStdString();
    std::string lowerCase = exact;
    for (char& character : lowerCase)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return {lowerCase, exact};
}

juce::Array<juce::File> listSorted(const juce::File& folder, int kinds, const juce::String& pattern)
{
    juce::Array<juce::File> found =
        folder.findChildFiles(kinds | juce::File::ignoreHiddenFiles, false, pattern);
    const auto keyOf = [](const juce::File& file)
    { return makeSortingKey(file.getFileNameWithoutExtension()); };
    std::sort(found.begin(), found.end(),
              [&](const juce::File& a, const juce::File& b) { return keyOf(a) < keyOf(b); });
    return found;
}

juce::ValueTree makeFolderNode(const juce::String& name)
{
    juce::ValueTree node(folderType);
    node.setProperty(nameProperty, name, nullptr);
    return node;
}

} // namespace

void PresetCatalogue::update(const juce::File& factoryPresetFolder,
                             const juce::File& userPresetFolder)
{
    presetTree.removeAllChildren(nullptr);
    resetPresetIndex = 0;
    presetsBeingRead.clear();
    juce::ValueTree factory = makeFolderNode("Factory presets");
    juce::ValueTree user = makeFolderNode("User presets");
    presetTree.appendChild(factory, nullptr);
    presetTree.appendChild(user, nullptr);
    int index = 0;
    loadPresetDirectory(factory, factoryPresetFolder, index);
    loadPresetDirectory(user, userPresetFolder, index);
    const std::lock_guard lock(guard);
    presets.swap(presetsBeingRead);
}

int PresetCatalogue::size() const
{
    const std::lock_guard lock(guard);
    return static_cast<int>(presets.size());
}

PresetCatalogue::PresetData PresetCatalogue::find(int index) const
{
    const std::lock_guard lock(guard);
    return index >= 0 && index < static_cast<int>(presets.size())
               ? presets[static_cast<std::size_t>(index)]
               : PresetData();
}

void PresetCatalogue::loadPresetDirectory(juce::ValueTree& node, const juce::File& folder,
                                          int& index)
{
    addPresetFilesToFolderNode(folder, node, index);
    for (const juce::File& subfolder : listSorted(folder, juce::File::findDirectories, "*"))
    {
        juce::ValueTree subfolderNode = makeFolderNode(subfolder.getFileName());
        addPresetFilesToFolderNode(subfolder, subfolderNode, index);
        node.appendChild(subfolderNode, nullptr);
    }
}

void PresetCatalogue::addPresetFilesToFolderNode(const juce::File& folder, juce::ValueTree& node,
                                                 int& index)
{
    for (const juce::File& file : listSorted(folder, juce::File::findFiles, "*.xml"))
    {
        const juce::String name = file.getFileNameWithoutExtension();
        juce::ValueTree preset(presetType);
        preset.setProperty(nameProperty, name, nullptr);
        preset.setProperty(indexProperty, index, nullptr);
        node.appendChild(preset, nullptr);
        if (name.equalsIgnoreCase("Reset"))
            resetPresetIndex = index;
        presetsBeingRead.push_back({name, file.getFullPathName()});
        ++index;
    }
}
