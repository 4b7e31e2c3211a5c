#include "ui/plot/CurveEditor.h"

#include <cmath>

namespace kalim::ui
{
namespace
{

// How far an arrow key moves a handle, as a share of the plot's width.
constexpr float keyStep = 1.0F / 500.0F;
constexpr float fineKeyStep = 1.0F / 5000.0F;

constexpr int none = -1;

/// Like sliders: up and right are more, down and left are less. 0 for other keys.
float directionOf(const juce::KeyPress& key)
{
    const int code = key.getKeyCode();
    if (code == juce::KeyPress::rightKey || code == juce::KeyPress::upKey)
        return 1.0F;
    if (code == juce::KeyPress::leftKey || code == juce::KeyPress::downKey)
        return -1.0F;
    return 0.0F;
}

void moveTo(CurveEditor::Handle& handle, juce::Point<float> position)
{
    if (!handle.isFixedSideways)
        handle.x = juce::jlimit(0.0F, 1.0F, position.x);
    if (!handle.isFixedUpwards)
        handle.y = juce::jlimit(0.0F, 1.0F, position.y);
}

/// Presents the handle that the keyboard moves as a slider to screen readers: from 0 at the left
/// edge to 1 at the right one, described as the editor's listeners describe the place.
class HandleValue final : public juce::AccessibilityValueInterface
{
public:
    explicit HandleValue(CurveEditor& editorToUse)
        : editor(editorToUse)
    {
    }

    bool isReadOnly() const override { return getHandle() == nullptr; }

    double getCurrentValue() const override
    {
        const CurveEditor::Handle* const current = getHandle();
        return current == nullptr ? 0.0 : double{current->x};
    }

    juce::String getCurrentValueAsString() const override
    {
        const CurveEditor::Handle* const current = getHandle();
        if (current == nullptr)
            return {};
        const juce::String info = editor.getCursorInfo({current->x, current->y});
        return info.isNotEmpty() ? info : juce::String(juce::roundToInt(current->x * 100.0F)) + "%";
    }

    void setValue(double newValue) override
    {
        if (const CurveEditor::Handle* const current = getHandle())
            editor.moveHandle(editor.getKeyboardHandle(),
                              {static_cast<float>(newValue), current->y});
    }

    void setValueAsString(const juce::String& newValue) override
    {
        setValue(newValue.getDoubleValue());
    }

    AccessibleValueRange getRange() const override { return {{0.0, 1.0}, 1.0 / 500.0}; }

private:
    const CurveEditor::Handle* getHandle() const
    {
        return editor.getHandle(editor.getKeyboardHandle());
    }

    CurveEditor& editor;
};

} // namespace

/// Calls the listeners, stores what they have written into the handle if it is still there, and
/// tells whether this component is.
bool CurveEditor::notify(Callback callback, int index, Handle& handle)
{
    const BailOutChecker checker(this);
    listeners.callChecked(checker,
                          [&](Listener& listener) { (listener.*callback)(this, index, handle); });
    if (checker.shouldBailOut())
        return false;
    const auto found = handles.find(index);
    if (found != handles.end())
    {
        found->second = handle;
        triggerAsyncUpdate();
    }
    return true;
}

/// The handle with the lowest number that can be grabbed there.
int CurveEditor::handleAt(juce::Point<float> position) const
{
    int found = none;
    for (const auto& [index, handle] : handles)
    {
        if (!handle.isOnPlot() || !hasOutline(handle) || (found != none && found < index))
            continue;
        if (handleGrabArea(handle, getLocalBounds().toFloat()).contains(position))
            found = index;
    }
    return found;
}

void CurveEditor::setHovered(int index)
{
    if (index == hovered)
        return;
    repaintHandle(hovered);
    hovered = index;
    repaintHandle(hovered);
    updateMouseCursor();
}

/// The marker that is nearest to the mouse, if it is near.
int CurveEditor::markerAt(juce::Point<float> position) const
{
    constexpr float farthest = 8.0F;
    int found = none;
    float nearest = farthest;
    for (const auto& [index, handle] : handles)
    {
        const float distance = std::abs(toPixels({handle.x, 0.0F}).x - position.x);
        if (handle.shape != Handle::marker || !handle.isOnPlot() || distance >= nearest)
            continue;
        found = index;
        nearest = distance;
    }
    return found;
}

void CurveEditor::setHoveredMarker(int index)
{
    if (index == hoveredMarker)
        return;
    repaintHandle(hoveredMarker);
    hoveredMarker = index;
    repaintHandle(hoveredMarker);
}

void CurveEditor::mouseMove(const juce::MouseEvent& event)
{
    setHovered(handleAt(event.position));
    setHoveredMarker(markerAt(event.position));
}

void CurveEditor::mouseExit(const juce::MouseEvent& /*event*/)
{
    setHovered(none);
    setHoveredMarker(none);
}

void CurveEditor::mouseDown(const juce::MouseEvent& event)
{
    drag.reset();
    if (!event.mods.isLeftButtonDown() || event.mods.isPopupMenu())
        return;
    const int index = handleAt(event.position);
    if (index == none)
        return;
    const Handle& handle = handles[index];
    drag = Drag{index, event.position - toPixels({handle.x, handle.y}), false, handle};
    lastUsed = index;
    isFocusShown = false;
    keyboardPosition.reset();
    repaintHandle(index);
    setHovered(index);
}

void CurveEditor::mouseDrag(const juce::MouseEvent& event)
{
    if (!drag || (!drag->hasStarted && !event.mouseWasDraggedSinceMouseDown()))
        return;
    const int index = drag->index;
    const Handle* current = getHandle(index);
    if (current == nullptr)
        return;
    Handle handle = *current;
    if (!drag->hasStarted)
    {
        drag->hasStarted = true;
        if (!notify(&Listener::handleDragStarted, index, handle) || !drag)
            return;
    }
    moveTo(handle, toNormalised(event.position - drag->offset));
    if (notify(&Listener::handlePositionChanged, index, handle) && drag)
        drag->latest = handle;
}

void CurveEditor::mouseUp(const juce::MouseEvent& event)
{
    if (!drag)
    {
        const juce::Point<float> position = toNormalised(event.position);
        if (event.mods.isLeftButtonDown() && !event.mouseWasDraggedSinceMouseDown())
            listeners.callChecked(BailOutChecker(this), [&](Listener& listener)
                                  { listener.backGroundClick(this, position); });
        return;
    }
    const Drag ended = *drag;
    drag.reset();
    repaintHandle(ended.index);
    const Handle* current = getHandle(ended.index);
    Handle handle = current != nullptr ? *current : ended.latest;
    if (ended.hasStarted && !notify(&Listener::handleDragEnded, ended.index, handle))
        return;
    setHovered(handleAt(event.position));
}

void CurveEditor::mouseDoubleClick(const juce::MouseEvent& event)
{
    const int index = handleAt(event.position);
    if (index != none)
    {
        Handle handle = handles[index];
        notify(&Listener::handleDoubleClick, index, handle);
        return;
    }
    const juce::Point<float> position = toNormalised(event.position);
    listeners.callChecked(BailOutChecker(this), [&](Listener& listener)
                          { listener.backGroundDoubleClick(this, position); });
}

int CurveEditor::getKeyboardHandle() const
{
    if (handles.contains(lastUsed) && hasOutline(handles.at(lastUsed)))
        return lastUsed;
    int lowest = none;
    for (const auto& [index, handle] : handles)
        if (hasOutline(handle) && (lowest == none || index < lowest))
            lowest = index;
    return lowest;
}

bool CurveEditor::keyPressed(const juce::KeyPress& key)
{
    const float direction = directionOf(key);
    const juce::ModifierKeys modifiers = key.getModifiers();
    const int index = getKeyboardHandle();
    if (direction == 0.0F || index == none || modifiers.isCtrlDown() || modifiers.isAltDown() ||
        modifiers.isCommandDown())
        return false;
    isFocusShown = true;
    stepHandle(index, direction * (modifiers.isShiftDown() ? fineKeyStep : keyStep));
    return true;
}

/// A listener may round to steps larger than a fine one. To get ahead all the same, steps go on
/// from where the keyboard has been as long as the handle is still there but for the rounding.
void CurveEditor::stepHandle(int index, float step)
{
    const Handle& handle = handles[index];
    const bool goesOn = keyboardPosition && std::abs(*keyboardPosition - handle.x) < keyStep;
    const float x = juce::jlimit(0.0F, 1.0F, (goesOn ? *keyboardPosition : handle.x) + step);
    keyboardPosition = x;
    moveHandle(index, {x, handle.y});
}

void CurveEditor::moveHandle(int index, juce::Point<float> position)
{
    const Handle* current = getHandle(index);
    if (current == nullptr)
        return;
    Handle handle = *current;
    if (!notify(&Listener::handleDragStarted, index, handle))
        return;
    moveTo(handle, position);
    if (!notify(&Listener::handlePositionChanged, index, handle) ||
        !notify(&Listener::handleDragEnded, index, handle))
        return;
    if (juce::AccessibilityHandler* accessibility = getAccessibilityHandler())
        accessibility->notifyAccessibilityEvent(juce::AccessibilityEvent::valueChanged);
}

void CurveEditor::focusGained(FocusChangeType cause)
{
    isFocusShown = cause == focusChangedByTabKey;
    notifyFocusChanged();
}

void CurveEditor::focusLost(FocusChangeType /*cause*/)
{
    isFocusShown = false;
    keyboardPosition.reset();
    notifyFocusChanged();
}

void CurveEditor::notifyFocusChanged()
{
    const int index = getKeyboardHandle();
    repaintHandle(index);
    if (index == none)
        return;
    Handle handle = handles[index];
    notify(&Listener::handleFocusChanged, index, handle);
}

juce::MouseCursor CurveEditor::getMouseCursor()
{
    const bool isOverHandle = drag || hovered != none;
    return isOverHandle ? juce::MouseCursor::LeftRightResizeCursor
                        : juce::MouseCursor::NormalCursor;
}

juce::String CurveEditor::getCursorInfo(juce::Point<float> position)
{
    juce::String info;
    listeners.callChecked(BailOutChecker(this),
                          [&](Listener& listener)
                          {
                              if (info.isEmpty())
                                  info = listener.getCursorInfoFromPoint(this, position);
                          });
    return info;
}

juce::String CurveEditor::getTooltip()
{
    return getCursorInfo(toNormalised(getMouseXYRelative().toFloat()));
}

std::unique_ptr<juce::AccessibilityHandler> CurveEditor::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler>(
        *this, juce::AccessibilityRole::slider, juce::AccessibilityActions(),
        juce::AccessibilityHandler::Interfaces{std::make_unique<HandleValue>(*this)});
}

} // namespace kalim::ui
