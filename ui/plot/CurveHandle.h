#pragma once

#include <cmath>
#include <juce_graphics/juce_graphics.h>

/// A numbered mark in a curve editor, which users can drag when its shape has an outline.
struct CurveHandle
{
    /// What a handle looks like. Numbers that are not listed here have no outline and show only the
    /// label.
    enum Shape : int
    {
        /// A thin line over the height of the plot with a cap at the top, which cannot be grabbed.
        /// For users who do not tell red from green, one in exactly `juce::Colours::red` is dashed
        /// and has an open cap; in any other colour it is solid with a filled cap.
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

    /// Whether it lies between the left and the right edge, and all of its numbers are ones to
    /// draw.
    bool isOnPlot() const
    {
        return x >= 0.0F && x <= 1.0F && std::isfinite(y) && std::isfinite(size) && size > 0.0F;
    }

    bool operator==(const CurveHandle& other) const = default;
};
