#include "ui/themes/ThemeFonts.h"

#include "Artwork.h"

#include <array>
#include <optional>

namespace kalim::ui
{
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

/// A font of the system that has Japanese characters: the first that is installed of those we know.
/// Reading it takes memory, so it is shared through a `juce::SharedResourcePointer`.
class EastAsianFont
{
public:
    EastAsianFont()
        : typeface(findCollection())
    {
        if (typeface == nullptr)
            typeface = findFamily();
    }

    /// Null where there is none.
    juce::Typeface* getTypeface() const { return typeface.get(); }

private:
    juce::Typeface::Ptr typeface;
};

/// Marks the glyphs of the second typeface; glyph numbers are below.
constexpr int eastAsianFlag = 1 << 28;

/// The size of an ideograph relative to the font's height, so that it fits the Latin letters.
constexpr float ideographWidth = 0.82F;

bool isEastAsian(juce::juce_wchar character)
{
    return (character >= 0x2E80 && character <= 0xA4CF) ||
           (character >= 0xAC00 && character <= 0xD7AF) ||
           (character >= 0xF900 && character <= 0xFAFF) ||
           (character >= 0xFE30 && character <= 0xFE4F) ||
           (character >= 0xFF00 && character <= 0xFFEF) ||
           (character >= 0x20000 && character <= 0x3FFFF);
}

/// Calls `receive(run, isEastAsian)` for each part of the text that is in one typeface.
template <typename Receiver>
void forEachRun(const juce::String& text, Receiver&& receive)
{
    auto position = text.getCharPointer();
    while (!position.isEmpty())
    {
        const auto start = position;
        const bool kind = isEastAsian(*position);
        while (!position.isEmpty() && isEastAsian(*position) == kind)
            ++position;
        receive(juce::String(start, position), kind);
    }
}

/// A typeface for Latin text that takes East Asian characters from a font of the system. The
/// framework's own fallback does not help: its typefaces show a box for a character they lack.
class ThemeTypeface : public juce::Typeface
{
public:
    explicit ThemeTypeface(const juce::Typeface::Ptr& latinTypeface)
        : juce::Typeface(latinTypeface->getName(), latinTypeface->getStyle())
        , latin(latinTypeface)
    {
    }

    float getAscent() const override { return latin->getAscent(); }

    float getDescent() const override { return latin->getDescent(); }

    float getHeightToPointsFactor() const override { return latin->getHeightToPointsFactor(); }

    float getStringWidth(const juce::String& text) override;
    void getGlyphPositions(const juce::String& text, juce::Array<int>& glyphs,
                           juce::Array<float>& xOffsets) override;
    bool getOutlineForGlyph(int glyphNumber, juce::Path& path) override;
    juce::EdgeTable* getEdgeTableForGlyph(int glyphNumber, const juce::AffineTransform& transform,
                                          float fontHeight) override;

private:
    /// Null where the system has no such font; looked for when first needed.
    juce::Typeface* getEastAsian();

    juce::Typeface::Ptr latin;
    std::optional<juce::SharedResourcePointer<EastAsianFont>> eastAsianFont;
    float eastAsianScale = 1.0F;
};

juce::Typeface* ThemeTypeface::getEastAsian()
{
    if (!eastAsianFont.has_value())
    {
        eastAsianFont.emplace();
        if (juce::Typeface* const typeface = (*eastAsianFont)->getTypeface())
            eastAsianScale =
                ideographWidth / typeface->getStringWidth(juce::String::charToString(0x4E00));
    }
    return (*eastAsianFont)->getTypeface();
}

float ThemeTypeface::getStringWidth(const juce::String& text)
{
    juce::Array<int> glyphs;
    juce::Array<float> offsets;
    getGlyphPositions(text, glyphs, offsets);
    return offsets.getLast();
}

void ThemeTypeface::getGlyphPositions(const juce::String& text, juce::Array<int>& glyphs,
                                      juce::Array<float>& xOffsets)
{
    xOffsets.add(0.0F);
    forEachRun(
        text,
        [&](const juce::String& run, bool isOther)
        {
            juce::Typeface* const other = isOther ? getEastAsian() : nullptr;
            juce::Array<int> runGlyphs;
            juce::Array<float> runOffsets;
            (other != nullptr ? *other : *latin).getGlyphPositions(run, runGlyphs, runOffsets);
            const float scale = other != nullptr ? eastAsianScale : 1.0F;
            const int flag = other != nullptr ? eastAsianFlag : 0;
            const float start = xOffsets.getLast();
            for (int i = 0; i < runGlyphs.size(); ++i)
            {
                glyphs.add(runGlyphs[i] | flag);
                xOffsets.add(start + runOffsets[i + 1] * scale);
            }
        });
}

bool ThemeTypeface::getOutlineForGlyph(int glyphNumber, juce::Path& path)
{
    if ((glyphNumber & eastAsianFlag) == 0)
        return latin->getOutlineForGlyph(glyphNumber, path);
    juce::Typeface* const other = getEastAsian();
    if (other == nullptr)
        return false;
    const bool isFound = other->getOutlineForGlyph(glyphNumber & ~eastAsianFlag, path);
    path.applyTransform(juce::AffineTransform::scale(eastAsianScale));
    return isFound;
}

juce::EdgeTable* ThemeTypeface::getEdgeTableForGlyph(int glyphNumber,
                                                     const juce::AffineTransform& transform,
                                                     float fontHeight)
{
    if ((glyphNumber & eastAsianFlag) == 0)
        return latin->getEdgeTableForGlyph(glyphNumber, transform, fontHeight);
    juce::Typeface* const other = getEastAsian();
    if (other == nullptr)
        return nullptr;
    return other->getEdgeTableForGlyph(
        glyphNumber & ~eastAsianFlag,
        juce::AffineTransform::scale(eastAsianScale).followedBy(transform), fontHeight);
}

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

} // namespace kalim::ui
