#include "kalim/batch/BatchPlan.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "kalim/Options.h"
#include "kalim/batch/InputList.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace kalim::program
{
namespace
{

using std::filesystem::path;

path placeBelow(const path& base, const path& input)
{
    const auto plain = [](const path& name)
    { return std::filesystem::absolute(name).lexically_normal(); };
    const path place = plain(input).lexically_relative(plain(base));
    if (place.empty() || *place.begin() == "..")
        throw UsageError(fmt::format("{}: is not below {}", printable(input), printable(base)));
    return place;
}

BatchItem makeItem(const InputFile& file, const BatchRequest& request)
{
    const path place = request.base.empty() ? file.place : placeBelow(request.base, file.path);
    path name = place.stem();
    name += request.suffix;
    name += request.extension.empty() ? place.extension() : path("." + request.extension);
    return {file.path, request.outputFolder / place.parent_path() / name, file.size, file.modified};
}

void requireDistinct(const std::vector<BatchItem>& items)
{
    std::map<path, path> inputs;
    for (const BatchItem& item : items)
    {
        const path target = resolvedTarget(item.output);
        const auto [place, isNew] = inputs.emplace(target, item.input);
        if (!isNew)
            throw UsageError(fmt::format("{} and {} would both become {}", printable(place->second),
                                         printable(item.input), printable(item.output)));
        if (isSameFile(item.input, item.output))
            throw UsageError(printable(item.input) + ": would replace itself");
    }
}

} // namespace

BatchPlan planBatch(const BatchRequest& request)
{
    const InputList inputs = listInputs(request.inputs, request.isRecursive, request.outputFolder);
    BatchPlan plan{{}, inputs.numLeftOut, inputs.problems};
    for (const InputFile& file : inputs.files)
        plan.items.push_back(makeItem(file, request));
    std::ranges::sort(plan.items, {}, &BatchItem::input);
    requireDistinct(plan.items);
    return plan;
}

} // namespace kalim::program
