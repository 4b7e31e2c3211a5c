#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kalim
{

/// A description block of an audio file, byte for byte, without its header and padding.
struct RawChunk
{
    /// Four characters, or 16 bytes where a W64 file has an identifier of its own.
    std::string id;
    std::vector<std::byte> data;

    /// Whether it stood in front of the samples, where recorders and players look first.
    bool precedesAudio = false;

    bool operator==(const RawChunk& other) const { return id == other.id && data == other.data; }
};

} // namespace kalim
