#include "ui/themes/BaseTheme.h"

#include <initializer_list>

namespace kalim::ui
{
namespace
{

constexpr float menuFontHeight = 15.0F;
constexpr float headerFontHeight = 13.0F;
constexpr int menuItemHeight = 25;
constexpr int tickColumn = 28;
constexpr int arrowColumn = 24;

using Points = std::initializer_list<juce::Point<float>>;

juce::Path makeLine(juce::Point<float> origin, Points points)
{
    juce::Path path;
    path.startNewSubPath(origin + *points.begin());
    for (const juce::Point<float> point : points)
        path.lineTo(origin + point);
    return path;
}

void strokeLine(juce::Graphics& g, juce::Point<float> origin, Points points)
{
    g.strokePath(makeLine(origin, points), juce::PathStrokeType(1.75F, juce::PathStrokeType::curved,
                                                                juce::PathStrokeType::rounded));
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
        strokeLine(g, tickArea.getCentre(), {{-4.5F, 0.0F}, {-1.5F, 3.5F}, {4.5F, -3.5F}});
    if (hasSubMenu)
        strokeLine(g, arrowArea.getCentre(), {{-2.0F, -4.0F}, {2.0F, 0.0F}, {-2.0F, 4.0F}});
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
    g.setColour(palette.menu.text);
    strokeLine(g, centre, {{-4.0F, -tip}, {0.0F, tip}, {4.0F, -tip}});
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

void BaseTheme::drawRowIcon(juce::Graphics& g, juce::Rectangle<float> area, bool isFolder) const
{
    const auto box = area.withSizeKeepingCentre(14.0F, 14.0F).toNearestInt().toFloat();
    const Points folder{{1.0F, 12.0F}, {1.0F, 3.0F},  {5.5F, 3.0F},
                        {7.0F, 5.0F},  {13.0F, 5.0F}, {13.0F, 12.0F}};
    const Points document{{3.0F, 1.0F}, {8.5F, 1.0F}, {11.5F, 4.0F}, {11.5F, 13.0F}, {3.0F, 13.0F}};
    juce::Path icon = makeLine(box.getPosition(), isFolder ? folder : document);
    icon.closeSubPath();
    g.strokePath(icon, juce::PathStrokeType(1.25F, juce::PathStrokeType::curved));
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

} // namespace kalim::ui
