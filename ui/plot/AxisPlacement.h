#pragma once

/// On which side of the plot an axis lies. Its ticks point to the plot, its label is farthest away.
enum class AxisPlacement : int
{
    left = 0,
    right = 1,
    top = 2,
    bottom = 3
};

/// Whether the values run from left to right, and not from the bottom to the top.
constexpr bool isHorizontal(AxisPlacement placement)
{
    return placement == AxisPlacement::top || placement == AxisPlacement::bottom;
}
