#pragma once

#include <juce_graphics/juce_graphics.h>

/// Pictures of worked metal, computed; the same at every call.
namespace BrushedMetal
{

struct Look
{
    /// The colour at the upper and at the lower edge.
    juce::Colour top;
    juce::Colour bottom;
    /// How far the grain goes from the colour, as a part of full brightness.
    float grain = 0.02F;
    /// How much brighter it is where the light falls than at the sides.
    float sheen = 0.04F;
};

/// A plate that was brushed from left to right. Width and height in pixels.
juce::Image makePlate(int width, int height, const Look& look);

/// The face of a turned disc, lit from above, that fills a square; transparent outside the disc.
juce::Image makeDisc(int size, juce::Colour colour);

} // namespace BrushedMetal
