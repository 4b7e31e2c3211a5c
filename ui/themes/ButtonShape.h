#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/// The outlines of buttons that stand alone or side by side.
namespace ButtonShape
{

constexpr float cornerSize = 4.0F;

/// The area whose outline is drawn, on the centres of pixels. Where another button joins on the
/// left or on top, the edge is left to that one, so that a joint is a single line.
inline juce::Rectangle<float> getBounds(const juce::Button& button)
{
    juce::Rectangle<float> bounds = button.getLocalBounds().toFloat().reduced(0.5F);
    if (button.isConnectedOnLeft())
        bounds.setLeft(-0.5F);
    if (button.isConnectedOnTop())
        bounds.setTop(-0.5F);
    return bounds;
}

/// Rounds the corners between two edges where nothing joins.
inline juce::Path make(const juce::Button& button, juce::Rectangle<float> bounds, float corner)
{
    const bool isLeft = button.isConnectedOnLeft();
    const bool isRight = button.isConnectedOnRight();
    const bool isTop = button.isConnectedOnTop();
    const bool isBottom = button.isConnectedOnBottom();
    juce::Path path;
    path.addRoundedRectangle(bounds.getX(), bounds.getY(), bounds.getWidth(), bounds.getHeight(),
                             corner, corner, !isLeft && !isTop, !isRight && !isTop,
                             !isLeft && !isBottom, !isRight && !isBottom);
    return path;
}

} // namespace ButtonShape
