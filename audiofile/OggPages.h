#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace kalim
{

/// A packet of the first stream of an Ogg file; nothing if the file ends before or is damaged.
/// @param number counted from 0; 1 is that of the comments
std::optional<std::vector<std::byte>> oggPacket(int descriptor, int number);

/// Whether the last page of an Ogg file is whole and says that its stream ends there.
bool endsWithLastOggPage(int descriptor);

} // namespace kalim
