#include "presets/PresetFolders.h"

#include "base/Folders.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <pwd.h>
#include <string>
#include <string_view>
#include <system_error>

namespace kalim
{
namespace
{

namespace fs = std::filesystem;

fs::path homeOfUser()
{
    const char* const home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return home;
    const passwd* const entry = getpwuid(getuid());
    return entry != nullptr ? entry->pw_dir : "";
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Each end may have a quotation mark without the other having one, as the plug-in's framework
/// takes it.
std::string_view unquoted(std::string_view text)
{
    constexpr std::string_view quotes = "\"'";
    if (!text.empty() && quotes.find(text.front()) != std::string_view::npos)
        text.remove_prefix(1);
    if (!text.empty() && quotes.find(text.back()) != std::string_view::npos)
        text.remove_suffix(1);
    return text;
}

std::string withHome(std::string_view text, const std::string& home)
{
    constexpr std::string_view variable = "$HOME";
    std::string result(text);
    for (std::size_t at = 0; (at = result.find(variable, at)) != std::string::npos;
         at += home.size())
        result.replace(at, variable.size(), home);
    return result;
}

/// The folder that a line of the user's table of folders names for settings, empty for other lines.
fs::path configFolderIn(std::string_view line, const fs::path& home)
{
    const std::string_view entry = trimmed(line);
    const std::size_t equals = entry.find('=');
    if (!entry.starts_with("XDG_CONFIG_HOME") || equals == std::string_view::npos)
        return {};
    return withHome(unquoted(trimmed(entry.substr(equals + 1))), home.native());
}

fs::path configFolderOf(const fs::path& home)
{
    const fs::path usual = home / ".config";
    const fs::path table = usual / "user-dirs.dirs";
    std::error_code ignored;
    if (!fs::is_regular_file(table, ignored))
        return usual;
    std::ifstream stream(table);
    for (std::string line; std::getline(stream, line);)
        if (fs::path folder = configFolderIn(line, home); isFolder(folder))
            return folder;
    return usual;
}

} // namespace

PresetFolders findPresetFolders()
{
    std::error_code ignored;
    return {findFactoryPresets(fs::read_symlink("/proc/self/exe", ignored)),
            findUserPresets(homeOfUser())};
}

fs::path findBundleFolder(const fs::path& folder)
{
    for (fs::path candidate = folder; !candidate.empty(); candidate = candidate.parent_path())
    {
        if (isFolder(candidate / "Contents" / "Resources"))
            return candidate;
        if (candidate == candidate.root_path())
            break;
    }
    return {};
}

fs::path findFactoryPresets(const fs::path& program)
{
    const fs::path bundle = findBundleFolder(program.parent_path());
    return bundle.empty() ? fs::path() : bundle / "Contents" / "Resources" / "Presets";
}

fs::path findUserPresets(const fs::path& home)
{
    if (home.empty())
        return {};
    return configFolderOf(home) / "Application Support" / "Orvotech" / "Kalim" / "Presets";
}

} // namespace kalim
