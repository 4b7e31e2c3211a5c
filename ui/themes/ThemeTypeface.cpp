#include "ui/themes/ThemeTypeface.h"

namespace
{

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

/// Calls `receive(run, isEastAsian)` for each stretch of text in one typeface.
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

} // namespace

ThemeTypeface::ThemeTypeface(const juce::Typeface::Ptr& latinTypeface)
    : juce::Typeface(latinTypeface->getName(), latinTypeface->getStyle())
    , latin(latinTypeface)
{
}

float ThemeTypeface::getAscent() const
{
    return latin->getAscent();
}

float ThemeTypeface::getDescent() const
{
    return latin->getDescent();
}

float ThemeTypeface::getHeightToPointsFactor() const
{
    return latin->getHeightToPointsFactor();
}

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
