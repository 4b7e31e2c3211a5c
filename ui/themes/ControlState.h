#pragma once

/// What a component's drawing depends on.
struct ControlState
{
    bool isEnabled = true;
    bool isHovered = false;
    bool isPressed = false;
    bool isFocused = false;
};
