#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kalim
{

/// Finds out what is lost when only some kinds of tags can be carried.
class TagInventory
{
public:
    /// @param carried names in small letters, of which the first tag is carried
    /// @param pictures names in small letters of the tags that hold a picture
    TagInventory(std::span<const std::string_view> carried,
                 std::span<const std::string_view> pictures);

    /// Counts a tag of the file.
    void add(const std::string& name);

    /// What is lost: "2 pictures", "the tags MOOD, ISRC, a second ARTIST".
    std::vector<std::string> losses() const;

private:
    std::span<const std::string_view> carriedNames;
    std::span<const std::string_view> pictureNames;
    std::map<std::string, int> counts;
    std::vector<std::string> lost;
    std::ptrdiff_t pictureCount = 0;
};

} // namespace kalim
