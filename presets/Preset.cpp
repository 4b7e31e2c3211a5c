#include "presets/Preset.h"

namespace kalim
{

std::string presetNameOf(const std::filesystem::path& file)
{
    const std::string name = file.filename().string();
    return name.ends_with(presetExtension) ? name.substr(0, name.size() - presetExtension.size())
                                           : name;
}

} // namespace kalim
