#pragma once

#include <string>

namespace kalim
{

/// The text with a replacement sign for every byte that is no UTF-8. (The Unicode Standard, chapter
/// 3, table 3-7.)
std::string validUtf8(const std::string& text);

} // namespace kalim
