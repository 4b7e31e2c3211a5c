#pragma once

#include "dsp/precise/LargeBlocks.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <vector>

namespace orvo::audio::precise
{

/// Place of a value in a table that is kept row by row.
constexpr std::size_t indexOf(int row, int width, int column = 0)
{
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(column);
}

/// A vector that is indexed by any integer: frames, lines and samples are counted by int, since
/// their differences may be negative.
template <typename T>
class Series : public std::vector<T, BlockAllocator<T>>
{
    using Base = std::vector<T, BlockAllocator<T>>;

public:
    using Base::Base;

    T& operator[](std::integral auto index)
    {
        return Base::operator[](static_cast<std::size_t>(index));
    }

    const T& operator[](std::integral auto index) const
    {
        return Base::operator[](static_cast<std::size_t>(index));
    }
};

/// The upper median of some values, which are left in another order; there must be one at least.
inline double takeMedian(Series<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace orvo::audio::precise
