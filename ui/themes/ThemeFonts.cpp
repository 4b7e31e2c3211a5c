#include "ui/themes/ThemeFonts.h"

#include "Artwork.h"
#include "ui/themes/ThemeTypeface.h"

namespace
{

juce::Typeface::Ptr load(const char* data, int size)
{
    return new ThemeTypeface(
        juce::Typeface::createSystemTypefaceFor(data, static_cast<size_t>(size)));
}

} // namespace

ThemeFonts::ThemeFonts()
    : regular(load(artwork::InterRegular_otf, artwork::InterRegular_otfSize))
    , semiBold(load(artwork::InterSemiBold_otf, artwork::InterSemiBold_otfSize))
{
}
