#include "kalim/PresetOverview.h"

#include "base/FileError.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <iterator>
#include <string_view>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;

std::string textOf(const std::vector<Preset>& presets, PresetOrigin origin,
                   std::string_view heading, const std::filesystem::path& folder)
{
    std::string text(heading);
    if (!folder.empty())
        text += fmt::format(" in {}", printable(folder));
    text += '\n';
    const std::size_t headingSize = text.size();
    std::string subfolder;
    for (const Preset& preset : presets)
    {
        if (preset.origin != origin)
            continue;
        if (preset.folder != subfolder)
            fmt::format_to(std::back_inserter(text), "  {}/\n", printable(preset.folder));
        subfolder = preset.folder;
        fmt::format_to(std::back_inserter(text), "  {}{}\n", subfolder.empty() ? "" : "  ",
                       printable(preset.name));
    }
    return text.size() > headingSize ? text : text + "  none\n";
}

Json folderOrNull(const std::filesystem::path& folder)
{
    return folder.empty() ? Json() : Json(folder.native());
}

} // namespace

std::string presetsToText(const std::vector<Preset>& presets, const PresetFolders& folders)
{
    return textOf(presets, PresetOrigin::factory, "Factory presets", folders.factory) +
           textOf(presets, PresetOrigin::user, "User presets", folders.user);
}

std::string presetsToJson(const std::vector<Preset>& presets, const PresetFolders& folders)
{
    Json list = Json::array();
    for (const Preset& preset : presets)
        list.push_back({{"origin", preset.origin == PresetOrigin::factory ? "factory" : "user"},
                        {"folder", preset.folder},
                        {"name", preset.name},
                        {"file", preset.file.native()}});
    const Json json = {{"factoryFolder", folderOrNull(folders.factory)},
                       {"userFolder", folderOrNull(folders.user)},
                       {"presets", std::move(list)}};
    // File names need not be text; what is no UTF-8 in them is replaced.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace kalim::program
