#include "presets/PresetLookup.h"

#include "base/FileError.h"
#include "base/Text.h"
#include "presets/PresetList.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace kalim
{
namespace
{

std::string qualifiedName(const Preset& preset)
{
    return fmt::format("{}/{}", preset.folder, preset.name);
}

bool isFile(const std::string& text)
{
    if (text.find('/') == std::string::npos && !text.ends_with(presetExtension))
        return false;
    // What cannot be looked at is there, as far as one can tell; reading it tells why.
    std::error_code ignored;
    return std::filesystem::status(text, ignored).type() != std::filesystem::file_type::not_found;
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

Preset findPreset(const std::string& text, const PresetFolders& folders)
{
    if (isFile(text))
        return {PresetOrigin::file, "", presetNameOf(text), text};
    const std::vector<Preset> presets = listPresets(folders);
    std::vector<Preset> matches = matchesIn(presets, text, std::identity());
    if (matches.empty())
        matches = matchesIn(presets, text, lowered);
    if (matches.empty())
        throw std::invalid_argument(fmt::format(
            "there is no preset '{}'; --list-presets shows which there are", printable(text)));
    if (matches.size() > 1)
        throw std::invalid_argument(
            fmt::format("there are several presets '{}': {}", printable(text), namesOf(matches)));
    return matches.front();
}

} // namespace kalim
