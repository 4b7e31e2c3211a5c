#include "kalim/batch/InputList.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Folders.h"
#include "base/Text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace kalim::program
{
namespace
{

using std::filesystem::path;

/// What sound and films with sound are called; any other file can be named by itself.
constexpr std::array soundExtensions{".wav",  ".wave", ".bwf",  ".rf64", ".w64", ".aif",  ".aiff",
                                     ".aifc", ".caf",  ".flac", ".ogg",  ".oga", ".opus", ".au",
                                     ".snd",  ".mp3",  ".m4a",  ".mp4",  ".mkv", ".mka",  ".mov",
                                     ".webm", ".wma",  ".aac",  ".avi"};

bool isSound(const path& file)
{
    return std::ranges::find(soundExtensions, lowered(file.extension().native())) !=
           soundExtensions.end();
}

/// Empty where it cannot be told.
std::string getModified(const path& file)
{
    std::error_code failed;
    const auto modified = std::filesystem::last_write_time(file, failed);
    if (failed)
        return "";
    const auto time = std::filesystem::file_time_type::clock::to_sys(modified);
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:09}Z",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(second)),
                       (time - second).count());
}

class Lister
{
public:
    Lister(bool goesDeeper, const path& leftOutFolder)
        : isRecursive(goesDeeper)
        , leftOut(leftOutFolder.empty() ? path() : resolvedTarget(leftOutFolder))
    {
    }

    void addInput(const path& input)
    {
        const auto first = static_cast<std::ptrdiff_t>(list.files.size());
        if (isFolder(input))
            addFolder(input, {});
        else
            add(input, input.filename());
        std::ranges::sort(list.files.begin() + first, list.files.end(), {}, &InputFile::path);
    }

    InputList take() { return std::move(list); }

private:
    void addFolder(const path& folder, const path& place)
    {
        if (!leftOut.empty() && resolvedTarget(folder) == leftOut)
            return;
        std::error_code failed;
        std::filesystem::directory_iterator entries(folder, failed);
        if (failed)
            list.problems.push_back(fmt::format("{}: {}", printable(folder), failed.message()));
        else
            for (const auto& entry : entries)
                addEntry(entry, place);
    }

    void addEntry(const std::filesystem::directory_entry& entry, const path& place)
    {
        const path name = entry.path().filename();
        std::error_code failed;
        // Links to folders could lead round in circles.
        if (entry.is_directory(failed))
        {
            if (isRecursive && !entry.is_symlink(failed))
                addFolder(entry.path(), place / name);
        }
        else if (isSound(name) && !name.native().starts_with("."))
            add(entry.path(), place / name);
        else
            ++list.numLeftOut;
    }

    void add(const path& input, const path& place)
    {
        std::error_code failed;
        const std::uintmax_t size = std::filesystem::file_size(input, failed);
        // Where it cannot be told, reading will tell why.
        list.files.push_back({input, place, failed ? 0 : size, getModified(input)});
    }

    bool isRecursive;
    path leftOut;
    InputList list;
};

} // namespace

InputList listInputs(const std::vector<path>& inputs, bool isRecursive, const path& leftOut)
{
    Lister lister(isRecursive, leftOut);
    for (const path& input : inputs)
        lister.addInput(input);
    return lister.take();
}

} // namespace kalim::program
