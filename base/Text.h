#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kalim
{

/// The text with the letters A to Z in lower case, whatever the locale.
std::string lowered(std::string_view text);

/// The text with a replacement character for every byte that is not part of valid UTF-8 (The
/// Unicode Standard, chapter 3, table 3-7).
std::string validUtf8(std::string_view text);

/// A number of things for a message: "1 picture", "2 pictures".
std::string counted(std::ptrdiff_t count, std::string_view thing);

/// The number in front of a unit, which may follow behind spaces and in any letter case: "50" for
/// "50 hz". The text itself where it does not end in the unit.
std::string_view withoutUnit(std::string_view text, std::string_view unit);

/// The text, or its start and an ellipsis where it is longer than so many bytes.
std::string shortened(const std::string& text, std::size_t mostBytes);

} // namespace kalim
