#pragma once

#include <optional>

namespace kalim
{

/// How many bits of its samples an open WAV, W64 or AIFF file calls valid, such as 20 of 24;
/// nothing where it does not say. Throws std::system_error when the disk fails.
std::optional<int> validBitsOf(int descriptor);

/// Lets a complete file of these kinds call so many bits of its samples valid; others stay as they
/// are. Throws std::system_error when the disk fails.
void stateValidBits(int descriptor, int bits);

} // namespace kalim
