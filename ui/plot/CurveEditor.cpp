#include "ui/plot/CurveEditor.h"

#include "ui/plot/PlotColours.h"

#include <algorithm>

namespace kalim::ui
{
namespace
{

constexpr float labelMargin = 3.0F;

/// The plot's edge, which stays to be seen.
constexpr float plotFrame = 2.0F;

/// In heights of the text, with the margins.
constexpr float longestInfo = 8.0F;

} // namespace

CurveEditor::CurveEditor(const juce::String& name)
    : juce::Component(name)
{
    setTitle(name);
    setWantsKeyboardFocus(true);
    updateColours();
}

CurveEditor::~CurveEditor()
{
    cancelPendingUpdate();
}

void CurveEditor::setCurve(int index, const Curve& curve)
{
    if (picture.setCurve(index, curve))
        repaint();
}

void CurveEditor::setHandle(int index, const Handle& handle)
{
    handles.insert_or_assign(index, handle);
    // Only when all handles are in place does it show whether anything is new.
    triggerAsyncUpdate();
}

void CurveEditor::clearHandles()
{
    handles.clear();
    triggerAsyncUpdate();
}

const CurveEditor::Handle* CurveEditor::getHandle(int index) const
{
    const auto found = handles.find(index);
    return found == handles.end() ? nullptr : &found->second;
}

void CurveEditor::setGridPositions(std::vector<double> horizontal, std::vector<double> vertical)
{
    picture.setGrid(std::move(horizontal), std::move(vertical));
    repaint();
}

/// Brings what is shown up to date and repaints the part of the plot where it has changed.
void CurveEditor::handleAsyncUpdate()
{
    next.assign(handles.begin(), handles.end());
    std::sort(next.begin(), next.end(),
              [](const NumberedHandle& a, const NumberedHandle& b) { return a.first < b.first; });
    if (next == shown)
        return;
    juce::Rectangle<int> changed;
    const size_t count = juce::jmax(next.size(), shown.size());
    for (size_t i = 0; i < count; ++i)
    {
        if (i < next.size() && i < shown.size() && next[i] == shown[i])
            continue;
        for (const std::vector<NumberedHandle>* list : {&next, &shown})
            if (i < list->size())
                changed = changed.getUnion(stripAround((*list)[i].first, (*list)[i].second));
    }
    shown.swap(next);
    updateMarkerLines();
    repaint(changed);
}

void CurveEditor::updateMarkerLines()
{
    lines.clear();
    for (const auto& [index, handle] : shown)
        if (handle.shape == Handle::marker && handle.isOnPlot())
            lines.push_back({handle.x, evenShade(handle.colour, background), handle.isDashed});
    std::sort(lines.begin(), lines.end(),
              [](const MarkerLine& a, const MarkerLine& b) { return a.x < b.x; });
    picture.setMarkerLines(lines);
}

void CurveEditor::updateColours()
{
    background = findColourOr(*this, PlotColours::backgroundId, juce::Colour(0xff1b1e23));
    const juce::Colour ink = background.withAlpha(1.0F).contrasting();
    picture.setColours({background, findColourOr(*this, PlotColours::gridId, ink.withAlpha(0.10F)),
                        findColourOr(*this, PlotColours::outlineId, ink.withAlpha(0.24F))});
    // What lies behind an opaque plot need not be painted with it.
    setOpaque(background.isOpaque());
    updateMarkerLines();
    repaint();
}

void CurveEditor::lookAndFeelChanged()
{
    updateColours();
}

void CurveEditor::colourChanged()
{
    updateColours();
}

void CurveEditor::parentHierarchyChanged()
{
    updateColours();
}

void CurveEditor::paint(juce::Graphics& graphics)
{
    handleUpdateNowIfNeeded();
    picture.draw(graphics, getWidth(), getHeight(),
                 graphics.getInternalContext().getPhysicalPixelScaleFactor());
    for (auto handle = shown.rbegin(); handle != shown.rend(); ++handle)
        if (handle->second.isOnPlot())
            drawHandle(graphics, handle->first, handle->second);
}

bool CurveEditor::isHighlighted(int index) const
{
    return index == hovered || (drag && index == drag->index) ||
           (isFocusShown && index == getKeyboardHandle());
}

/// Handles that can be grabbed tell at all times where they are, markers under the mouse.
bool CurveEditor::showsInfo(int index, const Handle& handle) const
{
    return hasOutline(handle) || index == hoveredMarker;
}

void CurveEditor::drawHandle(juce::Graphics& graphics, int index, const Handle& handle)
{
    if (handle.label.isNotEmpty())
        drawLabel(graphics, handle, handle.label);
    else if (showsInfo(index, handle))
        drawLabel(graphics, handle, getCursorInfo({handle.x, handle.y}));
    if (!hasOutline(handle))
        return;
    const juce::Path outline = handleOutline(handle, getLocalBounds().toFloat());
    const juce::Colour shade = legibleShade(handle.colour, background);
    const bool isActive = isHighlighted(index);
    if (isActive)
    {
        // Leads the eye from the handle down to the curve while it is set.
        const float x = toPixels({handle.x, 0.0F}).x;
        graphics.setColour(shade.withAlpha(0.7F));
        graphics.fillRect(x - 0.75F, outline.getBounds().getBottom(), 1.5F,
                          static_cast<float>(getHeight()));
    }
    // Keeps the handle apart from the markers' caps below it.
    graphics.setColour(background.withAlpha(0.9F));
    graphics.strokePath(outline, juce::PathStrokeType(4.0F));
    const juce::Colour ink = background.withAlpha(1.0F).contrasting();
    graphics.setColour(isActive ? shade.interpolatedWith(ink, 0.3F) : shade);
    graphics.fillPath(outline);
    if (isActive)
    {
        graphics.setColour(ink);
        graphics.strokePath(outline, juce::PathStrokeType(isFocusShown ? 1.5F : 1.0F));
    }
}

/// To the right of the handle, or to the left where there is no room; that of a marker below the
/// row of the others, for the fundamental's lies where its handle is.
void CurveEditor::drawLabel(juce::Graphics& graphics, const Handle& handle,
                            const juce::String& text) const
{
    if (text.isEmpty() || handle.labelHeight <= 0)
        return;
    const auto height = static_cast<float>(handle.labelHeight);
    const juce::Font font(height);
    const float width = font.getStringWidthFloat(text) + 2.0F * labelMargin;
    const float distance = handle.size / 2.0F + 1.0F;
    const juce::Point<float> centre = toPixels({handle.x, handle.y});
    const bool isLeft = centre.x + distance + width > static_cast<float>(getWidth());
    const juce::Rectangle<float> room(isLeft ? centre.x - distance - width : centre.x + distance,
                                      centre.y - height / 2.0F, width, height);
    const auto area = room.constrainedWithin(getLocalBounds().toFloat().reduced(plotFrame))
                          .translated(0.0F, hasOutline(handle) ? 0.0F : height + labelMargin);
    graphics.setColour(background.withAlpha(0.85F)); // caps and lines of markers lie below
    graphics.fillRoundedRectangle(area, labelMargin);
    graphics.setFont(font);
    graphics.setColour(legibleShade(handle.colour, background));
    graphics.drawText(text, area, juce::Justification::centred, false);
}

/// All that a handle may touch: its outline, the line over the whole height, its neighbours' caps
/// and what is told of it.
juce::Rectangle<int> CurveEditor::stripAround(int index, const Handle& handle) const
{
    if (!handle.isOnPlot())
        return {};
    if (handle.label.isNotEmpty())
        return getLocalBounds();
    constexpr float neighbours = 12.0F;
    const float reach = handle.size + (showsInfo(index, handle)
                                           ? longestInfo * static_cast<float>(handle.labelHeight)
                                           : neighbours);
    const float x = toPixels({handle.x, 0.0F}).x;
    return juce::Rectangle<float>(x - reach, 0.0F, 2.0F * reach, static_cast<float>(getHeight()))
        .getSmallestIntegerContainer();
}

void CurveEditor::repaintHandle(int index)
{
    if (const Handle* handle = getHandle(index))
        repaint(stripAround(index, *handle));
}

juce::Point<float> CurveEditor::toPixels(juce::Point<float> normalised) const
{
    return {normalised.x * static_cast<float>(getWidth()),
            (1.0F - normalised.y) * static_cast<float>(getHeight())};
}

juce::Point<float> CurveEditor::toNormalised(juce::Point<float> pixels) const
{
    return {pixels.x / static_cast<float>(juce::jmax(1, getWidth())),
            1.0F - pixels.y / static_cast<float>(juce::jmax(1, getHeight()))};
}

} // namespace kalim::ui
