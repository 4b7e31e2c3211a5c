#pragma once

#include <juce_graphics/juce_graphics.h>

namespace kalim::ui
{

/// The themes' typefaces, which come with the plug-in. Held by all themes together through a
/// `juce::SharedResourcePointer`.
class ThemeFonts
{
public:
    ThemeFonts();

    juce::Typeface::Ptr getRegular() const { return regular; }

    juce::Typeface::Ptr getSemiBold() const { return semiBold; }

private:
    juce::Typeface::Ptr regular;
    juce::Typeface::Ptr semiBold;
};

} // namespace kalim::ui
