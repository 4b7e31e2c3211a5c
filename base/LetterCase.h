#pragma once

#include <string>
#include <string_view>

namespace kalim
{

/// The text with small letters instead of the capital ones A to Z, whatever the locale.
std::string lowered(std::string_view text);

} // namespace kalim
