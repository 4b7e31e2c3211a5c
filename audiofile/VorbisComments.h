#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// What Vorbis comments hold beside the tags that the audio library carries, as TagInventory says
/// it; up to damage.
/// @param bytes the comments from the length of the vendor's name on, as in FLAC, Ogg and Opus
std::vector<std::string> uncarriedVorbisComments(std::span<const std::byte> bytes);

} // namespace kalim
