#include "ui/themes/BaseTheme.h"

namespace
{

constexpr float menuFontHeight = 15.0F;
constexpr float headerFontHeight = 13.0F;
constexpr int menuItemHeight = 25;
constexpr int tickColumn = 28;
constexpr int arrowColumn = 24;

void strokeLine(juce::Graphics& g, const juce::Path& path)
{
    g.strokePath(path, juce::PathStrokeType(1.75F, juce::PathStrokeType::curved,
                                            juce::PathStrokeType::rounded));
}

void drawSubMenuArrow(juce::Graphics& g, juce::Point<float> centre)
{
    juce::Path arrow;
    arrow.startNewSubPath(centre.translated(-2.0F, -4.0F));
    arrow.lineTo(centre.translated(2.0F, 0.0F));
    arrow.lineTo(centre.translated(-2.0F, 4.0F));
    strokeLine(g, arrow);
}

void drawTick(juce::Graphics& g, juce::Point<float> centre)
{
    juce::Path tick;
    tick.startNewSubPath(centre.translated(-4.5F, 0.0F));
    tick.lineTo(centre.translated(-1.5F, 3.5F));
    tick.lineTo(centre.translated(4.5F, -3.5F));
    strokeLine(g, tick);
}

} // namespace

juce::Font BaseTheme::getPopupMenuFont()
{
    return getRegularFont(menuFontHeight);
}

int BaseTheme::getPopupMenuBorderSize()
{
    return 4;
}

void BaseTheme::drawPopupMenuBackground(juce::Graphics& g, int width, int height)
{
    g.fillAll(palette.menu.ground);
    g.setColour(palette.outline);
    g.drawRect(0, 0, width, height);
}

void BaseTheme::drawPopupMenuItem(juce::Graphics& g, const juce::Rectangle<int>& area,
                                  bool isSeparator, bool isActive, bool isHighlighted,
                                  bool isTicked, bool hasSubMenu, const juce::String& text,
                                  const juce::String& shortcut, const juce::Drawable* icon,
                                  const juce::Colour* colour)
{
    if (isSeparator)
    {
        g.setColour(palette.outline.withMultipliedAlpha(0.7F));
        g.fillRect(area.reduced(8, 0).withSizeKeepingCentre(area.getWidth() - 16, 1));
        return;
    }
    const bool isChosen = isHighlighted && isActive;
    if (isChosen)
    {
        g.setColour(palette.highlight.ground);
        g.fillRoundedRectangle(area.reduced(4, 0).toFloat(), 3.0F);
    }
    const Tone& tone = isChosen ? palette.highlight : palette.menu;
    const juce::Colour normal = colour != nullptr && !isChosen ? *colour : tone.text;
    g.setColour(isActive ? normal : tone.disabledText);

    juce::Rectangle<int> row = area.reduced(4, 0);
    const auto tickArea = row.removeFromLeft(tickColumn).toFloat();
    const auto arrowArea = row.removeFromRight(arrowColumn).toFloat();
    if (icon != nullptr)
        icon->drawWithin(g, tickArea.reduced(4.0F), juce::RectanglePlacement::centred, 1.0F);
    else if (isTicked)
        drawTick(g, tickArea.getCentre());
    if (hasSubMenu)
        drawSubMenuArrow(g, arrowArea.getCentre());
    g.setFont(getPopupMenuFont());
    g.drawFittedText(text, row, juce::Justification::centredLeft, 1, 0.9F);
    if (shortcut.isEmpty())
        return;
    g.setFont(getRegularFont(menuFontHeight - 2.0F));
    g.drawText(shortcut, row, juce::Justification::centredRight, true);
}

void BaseTheme::drawPopupMenuSectionHeader(juce::Graphics& g, const juce::Rectangle<int>& area,
                                           const juce::String& name)
{
    g.setFont(getSemiBoldFont(headerFontHeight));
    g.setColour(palette.secondaryText);
    g.drawFittedText(name, area.reduced(12, 0).withTrimmedTop(10), juce::Justification::centredLeft,
                     1, 0.9F);
}

void BaseTheme::drawPopupMenuUpDownArrow(juce::Graphics& g, int width, int height,
                                         bool isScrollUpArrow)
{
    g.fillAll(palette.menu.ground);
    const juce::Point<float> centre(static_cast<float>(width) * 0.5F,
                                    static_cast<float>(height) * 0.5F);
    const float tip = isScrollUpArrow ? -2.0F : 2.0F;
    juce::Path arrow;
    arrow.startNewSubPath(centre.translated(-4.0F, -tip));
    arrow.lineTo(centre.translated(0.0F, tip));
    arrow.lineTo(centre.translated(4.0F, -tip));
    g.setColour(palette.menu.text);
    strokeLine(g, arrow);
}

void BaseTheme::getIdealPopupMenuItemSize(const juce::String& text, bool isSeparator,
                                          int standardHeight, int& width, int& height)
{
    if (isSeparator)
    {
        width = 50;
        height = 9;
        return;
    }
    height = standardHeight > 0 ? standardHeight : menuItemHeight;
    width = getPopupMenuFont().getStringWidth(text) + tickColumn + arrowColumn + 12;
}
