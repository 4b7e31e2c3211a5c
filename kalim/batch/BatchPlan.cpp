#include "kalim/batch/BatchPlan.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Options.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>

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

class Planner
{
public:
    explicit Planner(const BatchRequest& asked)
        : request(asked)
        , outputFolder(resolvedTarget(asked.outputFolder))
    {
    }

    BatchPlan makePlan()
    {
        for (const path& input : request.inputs)
        {
            std::error_code failed;
            if (std::filesystem::is_directory(input, failed))
                addFolder(input, request.base.empty() ? path() : placeBelowBase(input));
            else
                add(input, request.base.empty() ? input.filename() : placeBelowBase(input));
        }
        std::ranges::sort(plan.items, {}, &BatchItem::input);
        requireDistinct();
        return std::move(plan);
    }

private:
    path placeBelowBase(const path& input) const
    {
        const auto plain = [](const path& name)
        { return std::filesystem::absolute(name).lexically_normal(); };
        const path place = plain(input).lexically_relative(plain(request.base));
        if (place.empty() || *place.begin() == "..")
            throw UsageError(
                fmt::format("{}: is not below {}", printable(input), printable(request.base)));
        return place;
    }

    void addFolder(const path& folder, const path& place)
    {
        if (resolvedTarget(folder) == outputFolder)
            return;
        std::error_code failed;
        std::filesystem::directory_iterator entries(folder, failed);
        if (failed)
            plan.problems.push_back(fmt::format("{}: {}", printable(folder), failed.message()));
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
            if (request.isRecursive && !entry.is_symlink(failed))
                addFolder(entry.path(), place / name);
        }
        else if (isSound(name) && !name.native().starts_with("."))
            add(entry.path(), place / name);
        else
            ++plan.numLeftOut;
    }

    void add(const path& input, const path& place)
    {
        path name = place.stem();
        name += request.suffix;
        name += request.extension.empty() ? place.extension() : path("." + request.extension);
        BatchItem item;
        item.input = input;
        item.output = request.outputFolder / place.parent_path() / name;
        std::error_code failed;
        item.size = std::filesystem::file_size(input, failed);
        if (failed)
            item.size = 0; // which reading it will tell of
        item.modified = getModified(input);
        plan.items.push_back(std::move(item));
    }

    void requireDistinct() const
    {
        std::map<path, path> inputs;
        for (const BatchItem& item : plan.items)
        {
            const path target = resolvedTarget(item.output);
            const auto [place, isNew] = inputs.emplace(target, item.input);
            if (!isNew)
                throw UsageError(fmt::format("{} and {} would both become {}",
                                             printable(place->second), printable(item.input),
                                             printable(item.output)));
            if (isSameFile(item.input, item.output))
                throw UsageError(printable(item.input) + ": would replace itself");
        }
    }

    const BatchRequest& request;
    path outputFolder;
    BatchPlan plan;
};

} // namespace

BatchPlan planBatch(const BatchRequest& request)
{
    return Planner(request).makePlan();
}

} // namespace kalim::program
