#pragma once

#include "ui/themes/BaseTheme.h"

#include <array>
#include <memory>

namespace kalim::ui
{

/// "Simplistic dark": flat and calm; only what is set shines.
std::unique_ptr<BaseTheme> makeDarkTheme();

/// "Brushed steel": a light plate with dark displays let in, keys and knobs of turned metal.
std::unique_ptr<BaseTheme> makeSteelTheme();

/// A theme that users can choose.
struct Theme
{
    /// To be translated.
    const char* name;
    std::unique_ptr<BaseTheme> (*make)();
    /// The line of the spectrum, as ARGB.
    juce::uint32 spectrumColour;
    /// Below that line, as ARGB.
    juce::uint32 spectrumFill;
};

/// All themes: a theme is a row here and a file with its class. The row's place is the number that
/// menus and the properties know the theme by, so new rows go to the end.
inline constexpr std::array themes = {
    Theme{NEEDS_TRANS("Simplistic dark"), makeDarkTheme, 0x40FFFFFF, 0x24FFFFFF},
    Theme{NEEDS_TRANS("Brushed steel"), makeSteelTheme, 0x80DAC26D, 0x38DAC26D},
};

/// The theme of a number, or null where there is none.
inline const Theme* findTheme(int number)
{
    return juce::isPositiveAndBelow(number, static_cast<int>(themes.size()))
               ? &themes[static_cast<size_t>(number)]
               : nullptr;
}

} // namespace kalim::ui
