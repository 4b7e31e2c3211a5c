#include "ui/themes/EastAsianFont.h"

#include <array>

namespace
{

constexpr std::array families = {
    "Noto Sans CJK JP", "Noto Sans JP", "Source Han Sans JP", "IPAexGothic",
    "IPAPGothic",       "IPAGothic",    "TakaoPGothic",       "TakaoGothic",
    "VL PGothic",       "VL Gothic",    "Hiragino Sans",      "Yu Gothic UI",
    "Meiryo UI",        "MS UI Gothic", "WenQuanYi Zen Hei",  "Droid Sans Fallback",
};

/// Collections of fonts, which the framework leaves out when it lists what is installed. The
/// first font of each is the Japanese one.
constexpr std::array collections = {
    "opentype/noto/NotoSansCJK-Regular.ttc",
    "noto-cjk/NotoSansCJK-Regular.ttc",
    "google-noto-sans-cjk-fonts/NotoSansCJK-Regular.ttc",
    "google-noto-cjk/NotoSansCJK-Regular.ttc",
};

juce::Typeface::Ptr findCollection()
{
    const juce::File home = juce::File::getSpecialLocation(juce::File::userHomeDirectory);
    for (const juce::File& folder :
         {home.getChildFile(".local/share/fonts"), juce::File("/usr/local/share/fonts"),
          juce::File("/usr/share/fonts")})
        for (const char* name : collections)
        {
            juce::MemoryBlock data;
            if (folder.getChildFile(name).loadFileAsData(data))
                return juce::Typeface::createSystemTypefaceFor(data.getData(), data.getSize());
        }
    return nullptr;
}

juce::Typeface::Ptr findFamily()
{
    const juce::StringArray installed = juce::Font::findAllTypefaceNames();
    for (const char* family : families)
        if (installed.contains(family))
        {
            const juce::String style = juce::Font::findAllTypefaceStyles(family)[0];
            return juce::Typeface::createSystemTypefaceFor(juce::Font(family, style, 12.0F));
        }
    return nullptr;
}

} // namespace

EastAsianFont::EastAsianFont()
    : typeface(findCollection())
{
    if (typeface == nullptr)
        typeface = findFamily();
}
