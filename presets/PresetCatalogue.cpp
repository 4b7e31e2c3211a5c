#include "presets/PresetCatalogue.h"

#include "base/FileError.h"
#include "base/Folders.h"
#include "base/Text.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

namespace fs = std::filesystem;

constexpr std::string_view extension = ".xml";

std::string presetNameOf(const fs::path& file)
{
    const std::string name = file.filename().string();
    return name.ends_with(extension) ? name.substr(0, name.size() - extension.size()) : name;
}

bool isHidden(const fs::path& file)
{
    return file.filename().native().starts_with('.');
}

bool isPreset(const fs::path& file)
{
    std::error_code ignored;
    return file.native().ends_with(extension) && fs::is_regular_file(file, ignored);
}

/// What a folder holds that is not hidden. No setting of the system has a say in the order, because
/// hosts store the indices that follow from it.
std::vector<fs::path> contentsOf(const fs::path& folder)
{
    std::vector<fs::path> paths;
    std::error_code failed;
    for (fs::directory_iterator next(folder, failed); !failed && next != fs::directory_iterator();
         next.increment(failed))
        if (!isHidden(next->path()))
            paths.push_back(next->path());
    std::ranges::sort(paths, {},
                      [](const fs::path& path)
                      {
                          const std::string name = presetNameOf(path);
                          return std::pair(lowered(name), name);
                      });
    return paths;
}

PresetGroup groupIn(const fs::path& folder, PresetOrigin origin, const std::string& name)
{
    PresetGroup group{origin, name, {}};
    for (const fs::path& file : contentsOf(folder))
        if (isPreset(file))
            group.presets.push_back({origin, name, presetNameOf(file), file});
    return group;
}

void appendGroups(const fs::path& folder, PresetOrigin origin, std::vector<PresetGroup>& groups)
{
    groups.push_back(groupIn(folder, origin, ""));
    for (const fs::path& subfolder : contentsOf(folder))
        if (isFolder(subfolder))
            groups.push_back(groupIn(subfolder, origin, subfolder.filename().string()));
}

std::string qualifiedName(const Preset& preset)
{
    return preset.folder + "/" + preset.name;
}

bool isFile(const std::string& text)
{
    if (text.find('/') == std::string::npos && !text.ends_with(extension))
        return false;
    // What cannot be looked at is there, as far as one can tell; reading it tells why.
    std::error_code ignored;
    return fs::status(text, ignored).type() != fs::file_type::not_found;
}

/// Reads a preset's name as it is compared.
using Spelling = std::function<std::string(const std::string&)>;

std::vector<Preset> matchesIn(const std::vector<Preset>& presets, const std::string& text,
                              const Spelling& spell)
{
    std::vector<Preset> matches;
    for (const Preset& preset : presets)
        if (spell(preset.name) == spell(text) || spell(qualifiedName(preset)) == spell(text))
            matches.push_back(preset);
    const auto isOfUser = [](const Preset& preset) { return preset.origin == PresetOrigin::user; };
    if (std::ranges::any_of(matches, isOfUser))
        std::erase_if(matches, std::not_fn(isOfUser));
    return matches;
}

std::string namesOf(const std::vector<Preset>& presets)
{
    std::string names;
    for (const Preset& preset : presets)
        names += (names.empty() ? "" : ", ") + printable(qualifiedName(preset));
    return names;
}

} // namespace

std::vector<PresetGroup> listPresetGroups(const PresetFolders& folders)
{
    std::vector<PresetGroup> groups;
    appendGroups(folders.factory, PresetOrigin::factory, groups);
    appendGroups(folders.user, PresetOrigin::user, groups);
    return groups;
}

std::vector<Preset> listPresets(const PresetFolders& folders)
{
    std::vector<Preset> presets;
    for (PresetGroup& group : listPresetGroups(folders))
        std::ranges::move(group.presets, std::back_inserter(presets));
    return presets;
}

std::optional<std::size_t> findResetPreset(const std::vector<Preset>& presets)
{
    std::optional<std::size_t> found;
    for (std::size_t index = 0; index < presets.size(); ++index)
        if (lowered(presets[index].name) == "reset")
            found = index;
    return found;
}

Preset findPreset(const std::string& text, const PresetFolders& folders)
{
    if (isFile(text))
        return {PresetOrigin::file, "", presetNameOf(text), text};
    const std::vector<Preset> presets = listPresets(folders);
    std::vector<Preset> matches = matchesIn(presets, text, std::identity());
    if (matches.empty())
        matches = matchesIn(presets, text, lowered);
    if (matches.empty())
        throw std::invalid_argument("there is no preset '" + printable(text) +
                                    "'; --list-presets shows which there are");
    if (matches.size() > 1)
        throw std::invalid_argument("there are several presets '" + printable(text) +
                                    "': " + namesOf(matches));
    return matches.front();
}

} // namespace kalim
