#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/// The colour that the component or its look-and-feel has set, or else the one given: asking for a
/// colour that nobody has set is an error in the framework.
juce::Colour findColourOr(const juce::Component& component, int colourId, juce::Colour otherwise);

/// How well two opaque colours can be told apart, from 1 (not at all) to 21 (black and white): the
/// contrast ratio of the Web Content Accessibility Guidelines 2.1.
double contrastBetween(juce::Colour first, juce::Colour second);

/// The contrast that the same guidelines ask of graphical objects.
constexpr double legibleContrast = 3.0;

/// The colour itself when it is legible on the background, or the nearest shade of its hue that is.
juce::Colour legibleShade(juce::Colour colour, juce::Colour background);

/// A calm shade of the colour's hue. All hues get about the same contrast on the background, so
/// that none of them shouts.
juce::Colour evenShade(juce::Colour colour, juce::Colour background);
