#pragma once

#include <juce_graphics/juce_graphics.h>

/// A font of the system that has Japanese characters: the first that is installed of those we know.
/// Reading it takes memory, so it is shared through a `juce::SharedResourcePointer`.
class EastAsianFont
{
public:
    EastAsianFont();

    /// Null where there is none.
    juce::Typeface* getTypeface() const { return typeface.get(); }

private:
    juce::Typeface::Ptr typeface;
};
