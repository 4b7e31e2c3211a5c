#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kalim
{

/// Where the tag of the ID3 kind ends that a file starts with, 0 if it has none.
std::int64_t endOfId3Tag(int descriptor);

/// What such a tag holds (versions 2.2 to 2.4) beside the frames that the audio library carries, as
/// TagInventory says it; up to damage.
std::vector<std::string> uncarriedId3Frames(int descriptor);

} // namespace kalim
