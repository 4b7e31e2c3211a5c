#pragma once

#include "ui/plot/CurveEditor.h"

#include <memory>

/// Presents the handle that the keyboard moves as a slider to screen readers: from 0 at the left
/// edge to 1 at the right one, told in the words that the editor's listeners have for the place.
std::unique_ptr<juce::AccessibilityHandler> makeHandleAccessibility(CurveEditor& editor);
