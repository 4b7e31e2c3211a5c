#pragma once

#include <array>
#include <cstdint>

namespace orvo
{

/// A 16-byte identifier in its four customary parts.
struct UUID
{
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::array<unsigned char, 8> data4{};

    bool operator==(const UUID&) const = default;
};

namespace stock_uuids
{

/// All bytes zero: no identifier.
inline constexpr UUID Nil{};

} // namespace stock_uuids
} // namespace orvo
