#include "plugin/PresetTree.h"

#include "base/Text.h"

#include <algorithm>
#include <utility>

namespace kalim::plugin
{
namespace
{

const juce::Identifier folderType("PresetFolder");
const juce::Identifier presetType("Preset");
const juce::Identifier nameProperty("Name");
const juce::Identifier indexProperty("Index");

juce::ValueTree makeFolderNode(const juce::String& name)
{
    return {folderType, {{nameProperty, name}}};
}

} // namespace

juce::String toText(const std::string& name)
{
    return juce::String::fromUTF8(validUtf8(name).c_str());
}

void PresetTree::update(const PresetFolders& folders)
{
    presetTree.removeAllChildren(nullptr);
    juce::ValueTree factory = makeFolderNode("Factory presets");
    juce::ValueTree user = makeFolderNode("User presets");
    presetTree.appendChild(factory, nullptr);
    presetTree.appendChild(user, nullptr);
    std::vector<Preset> found;
    for (const PresetGroup& group : listPresetGroups(folders))
    {
        juce::ValueTree node = group.origin == PresetOrigin::factory ? factory : user;
        if (!group.folder.empty())
        {
            const juce::ValueTree subfolder = makeFolderNode(toText(group.folder));
            node.appendChild(subfolder, nullptr);
            node = subfolder;
        }
        for (const Preset& preset : group.presets)
        {
            const auto index = static_cast<int>(found.size());
            node.appendChild(
                {presetType, {{nameProperty, toText(preset.name)}, {indexProperty, index}}},
                nullptr);
            found.push_back(preset);
        }
    }
    const std::lock_guard lock(guard);
    presets.swap(found);
}

int PresetTree::size() const
{
    const std::lock_guard lock(guard);
    return static_cast<int>(presets.size());
}

Preset PresetTree::find(int index) const
{
    const std::lock_guard lock(guard);
    return index >= 0 && index < static_cast<int>(presets.size())
               ? presets[static_cast<std::size_t>(index)]
               : Preset();
}

int PresetTree::findIndexIf(const std::function<bool(const Preset&)>& isWanted) const
{
    const std::lock_guard lock(guard);
    const auto found = std::ranges::find_if(presets, isWanted);
    return found == presets.end() ? -1 : static_cast<int>(found - presets.begin());
}

int PresetTree::findIndex(const std::filesystem::path& file) const
{
    return findIndexIf([&](const Preset& preset) { return preset.file == file; });
}

int PresetTree::findIndex(const juce::String& name) const
{
    return findIndexIf([&](const Preset& preset) { return toText(preset.name) == name; });
}

int PresetTree::getResetPresetIndex() const
{
    const std::lock_guard lock(guard);
    return static_cast<int>(findResetPreset(presets).value_or(0));
}

} // namespace kalim::plugin
