#pragma once

#include <juce_graphics/juce_graphics.h>

namespace kalim::ui
{

/// A ground and the text that stands on it: `text` has a contrast of at least 4.5:1 to the ground,
/// `disabledText` of at least 3:1.
struct Tone
{
    juce::Colour ground;
    juce::Colour text;
    juce::Colour disabledText;
};

/// The colours from which a theme draws every component.
struct Palette
{
    /// The editor's and the dialogs' area.
    Tone window;
    /// The bar at the top, and title bars.
    Tone header;
    /// Buttons, boxes to choose from.
    Tone control;
    /// A button that is switched on.
    Tone toggled;
    /// Where text is entered, and lists.
    Tone field;
    /// Plots and the values below knobs.
    Tone display;
    Tone menu;
    /// The selected row of a menu or list.
    Tone highlight;
    Tone tooltip;
    /// Marked text in a field; also shown half transparent.
    Tone selection;

    /// Text of lesser rank on window and menu; as readable as the other.
    juce::Colour secondaryText;

    juce::Colour hoveredControl;
    juce::Colour pressedControl;
    /// What the disabled text of control and toggled stands on.
    juce::Colour disabledControl;
    juce::Colour disabledToggled;
    /// Edges of controls, fields and windows.
    juce::Colour outline;
    /// The maker's colour: set values, ticks, switches that are on.
    juce::Colour accent;
    /// What is drawn in the accent when it is disabled.
    juce::Colour mutedAccent;
    /// The part of a value's scale that is not filled.
    juce::Colour track;
    /// The cap of a knob.
    juce::Colour knob;
    juce::Colour pointer;
    juce::Colour grid;
    /// Around what has the keyboard's focus, on light and on dark grounds.
    juce::Colour focusOnLight;
    juce::Colour focusOnDark;
    juce::Colour warning;
};

} // namespace kalim::ui
