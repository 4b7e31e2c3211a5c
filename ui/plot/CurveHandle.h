#pragma once

#include <cmath>
#include <juce_graphics/juce_graphics.h>

namespace kalim::ui
{

/// A numbered mark in a curve editor, which users can drag when its shape has an outline.
struct CurveHandle
{
    /// What a handle looks like. Numbers that are not listed here have no outline and show only the
    /// label.
    enum Shape : int
    {
        /// A thin line over the height of the plot with a cap at the top, which cannot be grabbed.
        marker = 0,
        ellipse = 1,
        square = 2,
        /// Points downwards.
        triangle = 3,
        tee = 4
    };

    /// Normalised: 0 is the left edge of the plot, 1 the right one. Beyond them nothing is drawn.
    float x = 0.0F;
    /// Normalised: 0 is the lower edge, 1 the upper one.
    float y = 0.0F;
    /// Width and height of the outline in pixels.
    float size = 0.0F;
    int shape = marker;
    /// Quarter turns, clockwise.
    int rotation = 0;
    /// Drawn in a shade that can be told from the background.
    juce::Colour colour{};
    /// The height of the label's text in pixels.
    int labelHeight = 0;
    juce::String label{};
    /// Dragging does not change x.
    bool isFixedSideways = false;
    /// Dragging does not change y.
    bool isFixedUpwards = false;
    /// A marker is dashed with an open cap, for users who do not tell colours apart; otherwise
    /// solid with a filled one.
    bool isDashed = false;

    /// Whether it lies between the left and the right edge and can be drawn.
    bool isOnPlot() const
    {
        return x >= 0.0F && x <= 1.0F && std::isfinite(y) && std::isfinite(size) && size > 0.0F;
    }

    bool operator==(const CurveHandle& other) const = default;
};

/// Whether the handle's shape has an outline, so that it can be grabbed.
bool hasOutline(const CurveHandle& handle);

/// The handle's outline in a plot of the given size, in pixels. It is moved as far as needed to lie
/// wholly inside the plot; the tip of a triangle that points downwards still shows the exact x.
juce::Path handleOutline(const CurveHandle& handle, juce::Rectangle<float> plot);

/// Where the handle can be grabbed: no smaller than what a pointer hits easily, inside the plot.
juce::Rectangle<float> handleGrabArea(const CurveHandle& handle, juce::Rectangle<float> plot);

} // namespace kalim::ui
