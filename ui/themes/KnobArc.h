#pragma once

#include <juce_graphics/juce_graphics.h>

/// A part of the circle around a knob, from one angle to another, in radians clockwise from the
/// top.
inline juce::Path makeKnobArc(juce::Point<float> centre, float radius, float from, float to)
{
    juce::Path arc;
    arc.addCentredArc(centre.x, centre.y, radius, radius, 0.0F, from, to, true);
    return arc;
}
