#pragma once

#include "ui/themes/EastAsianFont.h"

#include <optional>

/// A typeface for Latin text that takes East Asian characters from a font of the system. The
/// framework's own fallback does not help: its typefaces show a box for a character they lack.
class ThemeTypeface : public juce::Typeface
{
public:
    explicit ThemeTypeface(const juce::Typeface::Ptr& latin);

    float getAscent() const override;
    float getDescent() const override;
    float getHeightToPointsFactor() const override;
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
