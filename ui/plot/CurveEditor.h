#pragma once

#include "ui/plot/CurveHandle.h"
#include "ui/plot/PlotPicture.h"

#include <juce_gui_basics/juce_gui_basics.h>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kalim::ui
{

/// A plot with numbered curves over a grid and numbered handles, of which those with an outline can
/// be moved with the mouse or, the one that was last used or else the first, with the arrow keys: a
/// step is 1/500 of the width, with shift 1/5000. Curves and handles may be replaced at any time,
/// also while a handle is dragged: the drag goes on with the handle that then has its number.
/// Message thread.
class CurveEditor : public juce::Component, public juce::TooltipClient, private juce::AsyncUpdater
{
public:
    using Handle = CurveHandle;

    /// Positions are normalised as those of handles. What a callback writes into the handle it is
    /// given becomes the handle of that number.
    class Listener
    {
    public:
        virtual ~Listener() = default;

        /// Comes with the first movement, not with the click.
        virtual void handleDragStarted(CurveEditor* /*editor*/, int /*index*/, Handle& /*handle*/)
        {
        }

        /// The handle has its new x and y, which may be changed.
        virtual void handlePositionChanged(CurveEditor* /*editor*/, int /*index*/,
                                           Handle& /*handle*/)
        {
        }

        virtual void handleDragEnded(CurveEditor* /*editor*/, int /*index*/, Handle& /*handle*/) {}

        virtual void handleDoubleClick(CurveEditor* /*editor*/, int /*index*/, Handle& /*handle*/)
        {
        }

        /// The handle has gained or lost the keyboard.
        virtual void handleFocusChanged(CurveEditor* /*editor*/, int /*index*/, Handle& /*handle*/)
        {
        }

        virtual void backGroundClick(CurveEditor* /*editor*/, juce::Point<float> /*position*/) {}

        virtual void backGroundDoubleClick(CurveEditor* /*editor*/, juce::Point<float> /*position*/)
        {
        }

        /// What to tell about a place in the plot: shown as tooltip, beside handles that can be
        /// grabbed and the marker under the mouse, and told by screen readers as the value of a
        /// handle there. Empty for nothing.
        virtual juce::String getCursorInfoFromPoint(CurveEditor* /*editor*/,
                                                    juce::Point<float> /*position*/)
        {
            return {};
        }
    };

    explicit CurveEditor(const juce::String& name = {});
    ~CurveEditor() override;

    /// Replaces the curve of this number.
    void setCurve(int index, const Curve& curve);

    /// Replaces the handle of this number. Handles of lower numbers lie over those of higher ones.
    void setHandle(int index, const Handle& handle);
    void clearHandles();

    /// Null if there is none of this number.
    const Handle* getHandle(int index) const;

    /// The heights of the horizontal lines and the places of the vertical ones, normalised; those
    /// outside the plot are left out.
    void setGridPositions(std::vector<double> horizontal, std::vector<double> vertical);

    void addListener(Listener* listener) { listeners.add(listener); }

    void removeListener(Listener* listener) { listeners.remove(listener); }

    /// Moves a handle as a user would, callbacks included: one drag from start to end.
    void moveHandle(int index, juce::Point<float> position);

    /// The handle that the keyboard moves, -1 for none.
    int getKeyboardHandle() const;

    /// What the listeners tell about a place.
    juce::String getCursorInfo(juce::Point<float> position);

    void paint(juce::Graphics& graphics) override;
    void lookAndFeelChanged() override;
    void colourChanged() override;
    void parentHierarchyChanged() override;
    void mouseMove(const juce::MouseEvent& event) override;
    void mouseExit(const juce::MouseEvent& event) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;
    void mouseDoubleClick(const juce::MouseEvent& event) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;
    juce::MouseCursor getMouseCursor() override;
    juce::String getTooltip() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    using NumberedHandle = std::pair<int, Handle>;
    using Callback = void (Listener::*)(CurveEditor*, int, Handle&);

    struct Drag
    {
        int index = 0;
        /// From the handle's place to the mouse.
        juce::Point<float> offset;
        bool hasStarted = false;
        Handle latest;
    };

    void handleAsyncUpdate() override;
    void updateColours();
    void updateMarkerLines();
    juce::Rectangle<int> stripAround(int index, const Handle& handle) const;
    void repaintHandle(int index);
    void notifyFocusChanged();
    bool isHighlighted(int index) const;
    bool showsInfo(int index, const Handle& handle) const;
    void drawHandle(juce::Graphics& graphics, int index, const Handle& handle);
    void drawLabel(juce::Graphics& graphics, const Handle& handle, const juce::String& text) const;

    int handleAt(juce::Point<float> position) const;
    int markerAt(juce::Point<float> position) const;
    void setHovered(int index);
    void setHoveredMarker(int index);
    bool notify(Callback callback, int index, Handle& handle);
    void stepHandle(int index, float step);
    juce::Point<float> toPixels(juce::Point<float> normalised) const;
    juce::Point<float> toNormalised(juce::Point<float> pixels) const;

    std::unordered_map<int, Handle> handles;
    /// The handles as they are on the screen, in ascending order of their numbers.
    std::vector<NumberedHandle> shown;
    std::vector<NumberedHandle> next;
    std::vector<MarkerLine> lines;
    PlotPicture picture;
    juce::Colour background;
    juce::ListenerList<Listener> listeners;
    std::optional<Drag> drag;
    int hovered = -1;
    int hoveredMarker = -1;
    int lastUsed = -1;
    bool isFocusShown = false;
    /// Where the keyboard has moved the handle, before the listener had its say.
    std::optional<float> keyboardPosition;
};

} // namespace kalim::ui
