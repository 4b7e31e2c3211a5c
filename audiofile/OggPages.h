#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace kalim
{

/// A packet of the first stream of an Ogg file, counted from 0; that of the comments is 1. Nothing
/// if the file ends before or is damaged.
std::optional<std::vector<std::byte>> oggPacket(int descriptor, int number);

/// Whether the last page of an Ogg file is whole and says that its stream ends there.
bool endsWithLastOggPage(int descriptor);

} // namespace kalim
