#include "ui/plot/HandleAccessibility.h"

namespace
{

class HandleValue final : public juce::AccessibilityValueInterface
{
public:
    explicit HandleValue(CurveEditor& editorToUse)
        : editor(editorToUse)
    {
    }

    bool isReadOnly() const override { return handle() == nullptr; }

    double getCurrentValue() const override
    {
        const CurveEditor::Handle* const current = handle();
        return current == nullptr ? 0.0 : double{current->x};
    }

    juce::String getCurrentValueAsString() const override
    {
        const CurveEditor::Handle* const current = handle();
        if (current == nullptr)
            return {};
        const juce::String info = editor.getCursorInfo({current->x, current->y});
        return info.isNotEmpty() ? info : juce::String(juce::roundToInt(current->x * 100.0F)) + "%";
    }

    void setValue(double newValue) override
    {
        if (const CurveEditor::Handle* const current = handle())
            editor.moveHandle(editor.getKeyboardHandle(),
                              {static_cast<float>(newValue), current->y});
    }

    void setValueAsString(const juce::String& newValue) override
    {
        setValue(newValue.getDoubleValue());
    }

    AccessibleValueRange getRange() const override { return {{0.0, 1.0}, 1.0 / 500.0}; }

private:
    const CurveEditor::Handle* handle() const
    {
        return editor.getHandle(editor.getKeyboardHandle());
    }

    CurveEditor& editor;
};

} // namespace

std::unique_ptr<juce::AccessibilityHandler> makeHandleAccessibility(CurveEditor& editor)
{
    return std::make_unique<juce::AccessibilityHandler>(
        editor, juce::AccessibilityRole::slider, juce::AccessibilityActions(),
        juce::AccessibilityHandler::Interfaces{std::make_unique<HandleValue>(editor)});
}
