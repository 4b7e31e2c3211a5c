#include "audiofile/TagInventory.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace kalim
{
namespace
{

bool contains(const auto& list, const std::string& item)
{
    return std::ranges::find(list, item) != list.end();
}

/// Files are not trusted: a name may hold anything, and a message is one line.
std::string shown(std::string name)
{
    std::ranges::replace_if(
        name, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return name;
}

} // namespace

TagInventory::TagInventory(std::span<const std::string_view> carried,
                           std::span<const std::string_view> pictures)
    : carriedNames(carried)
    , pictureNames(pictures)
{
}

void TagInventory::add(const std::string& name)
{
    const auto key = lowered(name);
    if (contains(pictureNames, key))
    {
        ++pictureCount;
        return;
    }
    const bool isCarried = contains(carriedNames, key);
    const int count = ++counts[key];
    if (!isCarried && count == 1)
        lost.push_back(shown(name));
    if (isCarried && count == 2)
        lost.push_back("a second " + name);
}

std::vector<std::string> TagInventory::losses() const
{
    std::vector<std::string> phrases;
    if (pictureCount > 0)
        phrases.push_back(counted(pictureCount, "picture"));
    if (!lost.empty())
        phrases.push_back(fmt::format("the tags {}", fmt::join(lost, ", ")));
    return phrases;
}

} // namespace kalim
