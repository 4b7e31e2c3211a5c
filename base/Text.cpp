#include "base/Text.h"

#include <algorithm>

namespace kalim
{
namespace
{

constexpr std::string_view replacementCharacter = "\xef\xbf\xbd";

/// Bytes of the UTF-8 character at the start of the text, 0 if there is none.
std::size_t characterLength(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return 1;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80)
            return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    const bool isOverlong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
    const bool isBeyond = (first == 0xed && second > 0x9f) || (first == 0xf4 && second > 0x8f);
    return isOverlong || isBeyond ? 0 : length;
}

} // namespace

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](char c)
                           { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string validUtf8(std::string_view text)
{
    std::string result;
    while (!text.empty())
    {
        const auto length = characterLength(text);
        result += length == 0 ? replacementCharacter : text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

std::string counted(std::ptrdiff_t count, std::string_view thing)
{
    return std::to_string(count).append(" ").append(thing).append(count == 1 ? "" : "s");
}

std::string_view withoutUnit(std::string_view text, std::string_view unit)
{
    const bool isUnit = !unit.empty() && text.size() > unit.size() &&
                        lowered(text.substr(text.size() - unit.size())) == lowered(unit);
    if (!isUnit)
        return text;
    text.remove_suffix(unit.size());
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

std::string shortened(const std::string& text, std::size_t mostBytes)
{
    if (text.size() <= mostBytes)
        return text;
    auto end = mostBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        --end;
    return text.substr(0, end) + "...";
}

} // namespace kalim
