#pragma once

#include <string>

namespace kalim::media
{

/// What the blocks of an MP4, Matroska, AVI or WMA file say of bytes that are not there or do not
/// belong to it, as one line; empty where all is well or nothing is known.
std::string missingIn(int descriptor);

} // namespace kalim::media
