#include "base/LetterCase.h"

#include <algorithm>

namespace kalim
{

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](char c)
                           { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

} // namespace kalim
