#include "audiofile/VorbisComments.h"

#include "audiofile/FileBytes.h"
#include "audiofile/TagInventory.h"

#include <array>
#include <optional>
#include <string_view>

namespace kalim
{
namespace
{

/// The encoder is that of the input's samples and says nothing of the output.
constexpr std::array<std::string_view, 11> carriedTags{
    "title", "copyright", "software",    "artist", "comment", "date",
    "album", "license",   "tracknumber", "genre",  "encoder"};

constexpr std::array<std::string_view, 2> pictureTags{"metadata_block_picture", "coverart"};

/// The next text with its length in front, which is taken off the bytes.
std::optional<std::string_view> takeText(std::span<const std::byte>& bytes)
{
    if (bytes.size() < 4)
        return {};
    const auto length = littleEndian(bytes.first(4));
    bytes = bytes.subspan(4);
    if (length > bytes.size())
        return {};
    const auto text = asText(bytes.first(length));
    bytes = bytes.subspan(length);
    return text;
}

} // namespace

std::vector<std::string> uncarriedVorbisComments(std::span<const std::byte> bytes)
{
    TagInventory inventory(carriedTags, pictureTags);
    constexpr std::size_t countBytes = 4;
    if (!takeText(bytes) || bytes.size() < countBytes)
        return {};
    auto count = littleEndian(bytes.first(countBytes));
    bytes = bytes.subspan(countBytes);
    for (auto comment = takeText(bytes); comment && count > 0; comment = takeText(bytes), --count)
        if (const auto name = comment->substr(0, comment->find('=')); !name.empty())
            inventory.add(std::string(name));
    return inventory.losses();
}

} // namespace kalim
