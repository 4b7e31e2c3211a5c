#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace kalim::ui
{

/// The ids under which themes set the colours of plots.
namespace PlotColours
{

enum Ids
{
    backgroundId = 0x5100001,
    gridId = 0x5100002,
    /// The frame around the plot.
    outlineId = 0x5100003,
    axisTextId = 0x5100011,
    /// The ticks.
    axisLineId = 0x5100012
};

} // namespace PlotColours

/// The colour that the component or its look-and-feel has set, or else the one given: the framework
/// takes asking for a colour that nobody has set for an error.
juce::Colour findColourOr(const juce::Component& component, int colourId, juce::Colour otherwise);

/// How well two opaque colours can be told apart, from 1 (not at all) to 21 (black and white): the
/// contrast ratio of the Web Content Accessibility Guidelines 2.1.
double contrastBetween(juce::Colour first, juce::Colour second);

/// The colour itself when it is legible on the background, or else the nearest shade of its hue
/// that is.
juce::Colour legibleShade(juce::Colour colour, juce::Colour background);

/// A calm shade of the colour's hue. All hues get about the same contrast on the background, so
/// that none of them shouts.
juce::Colour evenShade(juce::Colour colour, juce::Colour background);

} // namespace kalim::ui
