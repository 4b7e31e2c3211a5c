#include "base/ValidUtf8.h"

#include <string_view>

namespace kalim
{
namespace
{

constexpr auto replacementSign = "\xef\xbf\xbd";

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

std::string validUtf8(const std::string& text)
{
    std::string result;
    std::string_view rest(text);
    while (!rest.empty())
    {
        const auto length = characterLength(rest);
        result += length == 0 ? std::string_view(replacementSign) : rest.substr(0, length);
        rest.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

} // namespace kalim
