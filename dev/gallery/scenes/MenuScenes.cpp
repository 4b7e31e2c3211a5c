#include "dev/gallery/Sheet.h"

namespace kalim::gallery
{
namespace
{

struct Row
{
    const char* text = "";
    bool isHeader = false;
    bool isActive = true;
    bool isHighlighted = false;
    bool isTicked = false;
    bool hasSubMenu = false;
};

bool isSeparator(const Row& row)
{
    return *row.text == 0;
}

/// A menu as the framework lays it out, since a real one needs a screen.
void paintMenu(juce::Graphics& g, ui::BaseTheme& theme, const std::vector<Row>& rows)
{
    const int border = theme.getPopupMenuBorderSize();
    int width = 0;
    int height = 2 * border;
    std::vector<int> heights;
    for (const Row& row : rows)
    {
        int rowWidth = 0;
        int rowHeight = 0;
        theme.getIdealPopupMenuItemSize(row.text, isSeparator(row), 0, rowWidth, rowHeight);
        // Headers get half as much again.
        rowHeight += row.isHeader ? rowHeight / 2 : 0;
        heights.push_back(rowHeight);
        height += rowHeight;
        width = juce::jmax(width, rowWidth);
    }
    const juce::Graphics::ScopedSaveState saved(g);
    g.reduceClipRegion({width, height});
    theme.drawPopupMenuBackground(g, width, height);
    int y = border;
    for (size_t i = 0; i < rows.size(); ++i)
    {
        const Row& row = rows[i];
        const juce::Rectangle<int> area(0, y, width, heights[i]);
        if (row.isHeader)
            theme.drawPopupMenuSectionHeader(g, area, row.text);
        else
            theme.drawPopupMenuItem(g, area, isSeparator(row), row.isActive, row.isHighlighted,
                                    row.isTicked, row.hasSubMenu, row.text, {}, nullptr, nullptr);
        y += heights[i];
    }
}

std::unique_ptr<Sheet> makeMenus()
{
    auto sheet = std::make_unique<Sheet>(760, 400);
    const std::vector<Row> presets = {
        {.text = "Factory presets", .isHeader = true},
        {.text = "Reset", .isTicked = true},
        {.text = "Buzz", .hasSubMenu = true},
        {.text = "Guitar and bass", .isHighlighted = true, .hasSubMenu = true},
        {.text = "Mains 50 Hz", .hasSubMenu = true},
        {.text = "User presets", .isHeader = true},
        {.text = "Living room"},
        {.text = "Saving & loading", .isHeader = true},
        {.text = "Save user preset file..."},
        {.text = "Load user preset file..."},
    };
    const std::vector<Row> plugIn = {
        {.text = "Help..."},
        {},
        {.text = "Themes", .hasSubMenu = true},
        {.text = "Not available", .isActive = false},
        {.text = "Not available, highlighted", .isActive = false, .isHighlighted = true},
        {.text = "Not available, ticked", .isActive = false, .isTicked = true},
        {.text = "About Kalim..."},
    };
    const std::vector<Row> themes = {
        {.text = "Simplistic dark", .isHighlighted = true, .isTicked = true},
        {.text = "Brushed steel"},
    };
    int x = 20;
    for (const auto& rows : {presets, plugIn, themes})
    {
        auto menu =
            std::make_unique<Drawing>([rows](juce::Graphics& g, juce::Component&,
                                             ui::BaseTheme& theme) { paintMenu(g, theme, rows); });
        sheet->place(std::move(menu), {x, 20, 260, 370});
        x += 250;
    }
    return sheet;
}

} // namespace

Scenes getMenuScenes()
{
    return {{"menus", makeMenus}};
}

} // namespace kalim::gallery
