#include "ui/themes/BaseTheme.h"

namespace
{

juce::Path makeFolder(juce::Rectangle<float> area)
{
    juce::Path path;
    path.startNewSubPath(1.0F, 12.0F);
    path.lineTo(1.0F, 3.0F);
    path.lineTo(5.5F, 3.0F);
    path.lineTo(7.0F, 5.0F);
    path.lineTo(13.0F, 5.0F);
    path.lineTo(13.0F, 12.0F);
    path.closeSubPath();
    path.applyTransform(juce::AffineTransform::translation(area.getPosition()));
    return path;
}

juce::Path makeDocument(juce::Rectangle<float> area)
{
    juce::Path path;
    path.startNewSubPath(3.0F, 1.0F);
    path.lineTo(8.5F, 1.0F);
    path.lineTo(11.5F, 4.0F);
    path.lineTo(11.5F, 13.0F);
    path.lineTo(3.0F, 13.0F);
    path.closeSubPath();
    path.applyTransform(juce::AffineTransform::translation(area.getPosition()));
    return path;
}

} // namespace

int BaseTheme::getDefaultScrollbarWidth()
{
    return 12;
}

void BaseTheme::drawScrollbar(juce::Graphics& g, juce::ScrollBar& bar, int x, int y, int width,
                              int height, bool isVertical, int thumbStart, int thumbSize,
                              bool isMouseOver, bool isMouseDown)
{
    const auto thumb = isVertical ? juce::Rectangle<int>(x, thumbStart, width, thumbSize)
                                  : juce::Rectangle<int>(thumbStart, y, thumbSize, height);
    const float alpha = isMouseDown ? 1.0F : isMouseOver ? 0.8F : 0.55F;
    g.setColour(bar.findColour(juce::ScrollBar::thumbColourId).withMultipliedAlpha(alpha));
    const auto shape = thumb.toFloat().reduced(isMouseOver || isMouseDown ? 2.0F : 3.0F);
    g.fillRoundedRectangle(shape, juce::jmin(shape.getWidth(), shape.getHeight()) * 0.5F);
}

void BaseTheme::drawProgressBar(juce::Graphics& g, juce::ProgressBar& bar, int width, int height,
                                double progress, const juce::String& text)
{
    if (width == height)
    {
        juce::LookAndFeel_V4::drawProgressBar(g, bar, width, height, progress, text);
        return;
    }
    const auto bounds = juce::Rectangle<int>(width, height).toFloat();
    const float corner = juce::jmin(4.0F, bounds.getHeight() * 0.5F);
    drawWell(g, bounds, corner, palette.display.ground);
    // Without a known end, a part of the bar moves along.
    const bool isKnown = progress >= 0.0 && progress <= 1.0;
    const double phase = juce::Time::getMillisecondCounter() % 1600 / 1600.0;
    const double start = isKnown ? 0.0 : phase * 1.25 - 0.25;
    const double end = isKnown ? progress : start + 0.25;
    juce::Path clip;
    clip.addRoundedRectangle(bounds.reduced(1.0F), corner - 1.0F);
    const juce::Graphics::ScopedSaveState saved(g);
    g.reduceClipRegion(clip);
    const auto filled = bounds.withLeft(static_cast<float>(start * width))
                            .withRight(static_cast<float>(end * width));
    g.setColour(palette.accent);
    g.fillRect(filled);
    g.setFont(getRegularFont(juce::jmin(14.0F, bounds.getHeight() * 0.75F)));
    g.setColour(palette.display.text);
    g.drawText(text, bounds, juce::Justification::centred, false);
    // The same text once more over the filled part, where it has to be dark.
    g.reduceClipRegion(filled.toNearestInt());
    g.setColour(juce::Colour(0xff1a1508));
    g.drawText(text, bounds, juce::Justification::centred, false);
}

void BaseTheme::drawRowIcon(juce::Graphics& g, juce::Rectangle<float> area, bool isFolder) const
{
    const auto box = area.withSizeKeepingCentre(14.0F, 14.0F).toNearestInt().toFloat();
    g.strokePath(isFolder ? makeFolder(box) : makeDocument(box),
                 juce::PathStrokeType(1.25F, juce::PathStrokeType::curved));
}

void BaseTheme::drawFileBrowserRow(juce::Graphics& g, int width, int height, const juce::File&,
                                   const juce::String& name, juce::Image* icon,
                                   const juce::String& size, const juce::String& time,
                                   bool isFolder, bool isSelected, int,
                                   juce::DirectoryContentsDisplayComponent&)
{
    juce::Rectangle<int> row(width, height);
    if (isSelected)
    {
        g.setColour(palette.highlight.ground);
        g.fillRect(row);
    }
    const Tone& tone = isSelected ? palette.highlight : palette.field;
    g.setColour(tone.text);
    const auto iconArea = row.removeFromLeft(28).toFloat();
    if (icon != nullptr && icon->isValid())
        g.drawImage(*icon, iconArea.reduced(6.0F, 2.0F), juce::RectanglePlacement::centred);
    else
        drawRowIcon(g, iconArea, isFolder);
    const float fontHeight = juce::jmin(15.0F, static_cast<float>(height) * 0.7F);
    if (width > 450 && !isFolder)
    {
        g.setFont(getRegularFont(fontHeight - 1.0F));
        row.removeFromRight(8);
        for (const juce::String& column : {time, size})
        {
            const int columnWidth = juce::jmax(64, g.getCurrentFont().getStringWidth(column) + 4);
            g.drawText(column, row.removeFromRight(columnWidth), juce::Justification::centredRight,
                       false);
            row.removeFromRight(8);
        }
    }
    g.setFont(getRegularFont(fontHeight));
    g.drawFittedText(name, row, juce::Justification::centredLeft, 1, 0.9F);
}
