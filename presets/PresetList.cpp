#include "presets/PresetList.h"

#include "base/Text.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

namespace fs = std::filesystem;

bool isHidden(const fs::path& file)
{
    return file.filename().native().starts_with('.');
}

bool isPreset(const fs::path& file)
{
    std::error_code ignored;
    return file.native().ends_with(presetExtension) && fs::is_regular_file(file, ignored);
}

bool isFolder(const fs::path& file)
{
    std::error_code ignored;
    return fs::is_directory(file, ignored);
}

/// What a folder holds that is not hidden, sorted by name.
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

void appendPresetsOf(const fs::path& folder, PresetOrigin origin, const std::string& folderName,
                     std::vector<Preset>& presets)
{
    for (const fs::path& file : contentsOf(folder))
        if (isPreset(file))
            presets.push_back({origin, folderName, presetNameOf(file), file});
}

void appendPresetsBelow(const fs::path& folder, PresetOrigin origin, std::vector<Preset>& presets)
{
    appendPresetsOf(folder, origin, "", presets);
    for (const fs::path& subfolder : contentsOf(folder))
        if (isFolder(subfolder))
            appendPresetsOf(subfolder, origin, subfolder.filename().string(), presets);
}

} // namespace

std::vector<Preset> listPresets(const PresetFolders& folders)
{
    std::vector<Preset> presets;
    appendPresetsBelow(folders.factory, PresetOrigin::factory, presets);
    appendPresetsBelow(folders.user, PresetOrigin::user, presets);
    return presets;
}

} // namespace kalim
