#pragma once

#include "ui/plot/CurveHandle.h"

/// Whether the handle's shape has an outline, so that it can be grabbed.
bool hasOutline(const CurveHandle& handle);

/// The handle's outline in a plot of the given size, in pixels. It is moved as far as needed to lie
/// wholly inside the plot; the tip of a triangle that points downwards still shows the exact x.
juce::Path handleOutline(const CurveHandle& handle, juce::Rectangle<float> plot);

/// Where the handle can be grabbed: no smaller than what a pointer hits easily, inside the plot.
juce::Rectangle<float> handleGrabArea(const CurveHandle& handle, juce::Rectangle<float> plot);
