#pragma once

#include "ui/themes/ThemeFonts.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace kalim::ui
{

/// A ground and the text that stands on it: `text` has a contrast of at least 4.5:1 to the ground,
/// `disabledText` of at least 3:1.
struct Tone
{
    juce::Colour ground;
    juce::Colour text;
    juce::Colour disabledText;
};

/// The colours from which a theme draws every component.
struct Palette
{
    /// The editor's and the dialogs' area.
    Tone window;
    /// The bar at the top, and title bars.
    Tone header;
    /// Buttons, boxes to choose from.
    Tone control;
    /// A button that is switched on.
    Tone toggled;
    /// Where text is entered, and lists.
    Tone field;
    /// Plots and the values below knobs.
    Tone display;
    Tone menu;
    /// The selected row of a menu or list.
    Tone highlight;
    Tone tooltip;
    /// Marked text in a field; also shown half transparent.
    Tone selection;

    /// Text of lesser rank on window and menu; as readable as the other.
    juce::Colour secondaryText;

    juce::Colour hoveredControl;
    juce::Colour pressedControl;
    /// What the disabled text of control and toggled stands on.
    juce::Colour disabledControl;
    juce::Colour disabledToggled;
    /// Edges of controls, fields and windows.
    juce::Colour outline;
    /// The maker's colour: set values, ticks, switches that are on.
    juce::Colour accent;
    /// What is drawn in the accent when it is disabled.
    juce::Colour mutedAccent;
    /// The part of a value's scale that is not filled.
    juce::Colour track;
    /// The cap of a knob.
    juce::Colour knob;
    juce::Colour pointer;
    juce::Colour grid;
    /// Around what has the keyboard's focus, on light and on dark grounds.
    juce::Colour focusOnLight;
    juce::Colour focusOnDark;
    juce::Colour warning;
};

/// What a component's drawing depends on.
struct ControlState
{
    bool isEnabled = true;
    bool isHovered = false;
    bool isPressed = false;
    bool isFocused = false;
};

/// What all themes share: every component's layout and shape, drawn from the theme's palette. A
/// theme says what surfaces look like. Text is set in the font that comes with the plug-in; that
/// one is also made the default of the framework's own look, for components without a theme.
class BaseTheme : public juce::LookAndFeel_V4
{
public:
    ~BaseTheme() override;

    /// Fills the editor's area, which begins at the origin.
    virtual void paintBackground(juce::Graphics& g, int width, int height) = 0;

    /// Fills the bar at the top and writes the title right of the logo.
    virtual void paintHeaderBackground(juce::Graphics& g, int width, int height,
                                       const juce::String& title) = 0;

    /// In pixels.
    float getTitleWidth(const juce::String& title) const;

    const Palette& getPalette() const { return palette; }

    /// Asks `reader` for the states of components, where these only show a state that they are not
    /// in.
    void setStateReader(ControlState (*reader)(const juce::Component&)) { readState = reader; }

    juce::Font getRegularFont(float height) const;
    juce::Font getSemiBoldFont(float height) const;

    /// The colour of a button's text or icon.
    juce::Colour getButtonTextColour(const juce::Button& button) const;

    juce::Typeface::Ptr getTypefaceForFont(const juce::Font& font) override;

    void drawButtonBackground(juce::Graphics& g, juce::Button& button, const juce::Colour& colour,
                              bool isHighlighted, bool isDown) override;
    juce::Font getTextButtonFont(juce::TextButton& button, int height) override;
    void drawButtonText(juce::Graphics& g, juce::TextButton& button, bool isHighlighted,
                        bool isDown) override;
    void drawToggleButton(juce::Graphics& g, juce::ToggleButton& button, bool isHighlighted,
                          bool isDown) override;
    void changeToggleButtonWidthToFitText(juce::ToggleButton& button) override;

    void drawRotarySlider(juce::Graphics& g, int x, int y, int width, int height, float position,
                          float startAngle, float endAngle, juce::Slider& slider) override;
    void drawLinearSlider(juce::Graphics& g, int x, int y, int width, int height, float position,
                          float minPosition, float maxPosition, juce::Slider::SliderStyle style,
                          juce::Slider& slider) override;
    int getSliderThumbRadius(juce::Slider& slider) override;
    juce::Label* createSliderTextBox(juce::Slider& slider) override;

    void drawLabel(juce::Graphics& g, juce::Label& label) override;
    juce::Font getLabelFont(juce::Label& label) override;
    void fillTextEditorBackground(juce::Graphics& g, int width, int height,
                                  juce::TextEditor& editor) override;
    void drawTextEditorOutline(juce::Graphics& g, int width, int height,
                               juce::TextEditor& editor) override;
    void drawComboBox(juce::Graphics& g, int width, int height, bool isDown, int buttonX,
                      int buttonY, int buttonWidth, int buttonHeight, juce::ComboBox& box) override;
    juce::Font getComboBoxFont(juce::ComboBox& box) override;
    void positionComboBoxText(juce::ComboBox& box, juce::Label& label) override;
    juce::Rectangle<int> getTooltipBounds(const juce::String& text, juce::Point<int> position,
                                          juce::Rectangle<int> parentArea) override;
    void drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height) override;

    juce::Font getPopupMenuFont() override;
    int getPopupMenuBorderSize() override;
    void drawPopupMenuBackground(juce::Graphics& g, int width, int height) override;
    void drawPopupMenuItem(juce::Graphics& g, const juce::Rectangle<int>& area, bool isSeparator,
                           bool isActive, bool isHighlighted, bool isTicked, bool hasSubMenu,
                           const juce::String& text, const juce::String& shortcut,
                           const juce::Drawable* icon, const juce::Colour* colour) override;
    void drawPopupMenuSectionHeader(juce::Graphics& g, const juce::Rectangle<int>& area,
                                    const juce::String& name) override;
    void drawPopupMenuUpDownArrow(juce::Graphics& g, int width, int height,
                                  bool isScrollUpArrow) override;
    void getIdealPopupMenuItemSize(const juce::String& text, bool isSeparator, int standardHeight,
                                   int& width, int& height) override;

    void drawScrollbar(juce::Graphics& g, juce::ScrollBar& bar, int x, int y, int width, int height,
                       bool isVertical, int thumbStart, int thumbSize, bool isMouseOver,
                       bool isMouseDown) override;
    int getDefaultScrollbarWidth() override;
    void drawFileBrowserRow(juce::Graphics& g, int width, int height, const juce::File& file,
                            const juce::String& name, juce::Image* icon, const juce::String& size,
                            const juce::String& time, bool isFolder, bool isSelected, int index,
                            juce::DirectoryContentsDisplayComponent& list) override;

    juce::AlertWindow* createAlertWindow(const juce::String& title, const juce::String& message,
                                         const juce::String& button1, const juce::String& button2,
                                         const juce::String& button3, juce::MessageBoxIconType icon,
                                         int numButtons, juce::Component* associated) override;
    void drawAlertBox(juce::Graphics& g, juce::AlertWindow& window,
                      const juce::Rectangle<int>& textArea, juce::TextLayout& layout) override;
    int getAlertWindowButtonHeight() override;
    juce::Font getAlertWindowTitleFont() override;
    juce::Font getAlertWindowMessageFont() override;
    juce::Font getAlertWindowFont() override;
    void drawCornerResizer(juce::Graphics& g, int width, int height, bool isMouseOver,
                           bool isMouseDragging) override;

protected:
    explicit BaseTheme(const Palette& palette);

    /// Fills and edges what can be pressed. `bounds` may reach beyond what is visible of `shape`.
    virtual void drawControlSurface(juce::Graphics& g, const juce::Path& shape,
                                    juce::Rectangle<float> bounds, juce::Colour ground,
                                    const ControlState& state, bool isOn) = 0;

    /// Fills and edges what lies deeper than its surroundings.
    virtual void drawWell(juce::Graphics& g, juce::Rectangle<float> bounds, float cornerSize,
                          juce::Colour ground) = 0;

    /// The scale around a knob: `valueAngle` lies between the two ends.
    virtual void drawKnobScale(juce::Graphics& g, juce::Point<float> centre, float radius,
                               juce::Range<float> angles, float valueAngle,
                               const ControlState& state) = 0;

    /// The cap of a knob without its pointer.
    virtual void drawCap(juce::Graphics& g, juce::Point<float> centre, float radius,
                         const ControlState& state) = 0;

    /// What moves along a slider or in a switch, which may be on.
    virtual void drawThumb(juce::Graphics& g, juce::Point<float> centre, float radius,
                           const ControlState& state, bool isOn) = 0;

    /// Writes the title and the line between it and the logo.
    void drawHeaderTitle(juce::Graphics& g, int height, const juce::String& title) const;

    /// The ground of a control for its state.
    juce::Colour getControlGround(const ControlState& state, bool isOn) const;

    /// The colour of a ring that stands out from the ground.
    juce::Colour getFocusColour(juce::Colour ground) const;

    /// A part of the circle around a knob, from one angle to another, in radians clockwise from the
    /// top.
    static juce::Path makeKnobArc(juce::Point<float> centre, float radius, float from, float to);

    const Palette palette;

private:
    void setTextColours();
    void setControlColours();
    void setWindowColours();
    void drawSwitch(juce::Graphics& g, juce::Rectangle<float> area, bool isOn,
                    const ControlState& state);
    void drawKnob(juce::Graphics& g, juce::Point<float> centre, float radius,
                  juce::Range<float> angles, float valueAngle, const ControlState& state);
    juce::Font getThemedFont(const juce::Font& font) const;
    void drawRowIcon(juce::Graphics& g, juce::Rectangle<float> area, bool isFolder) const;
    juce::TextLayout layoutTooltip(const juce::String& text) const;

    juce::SharedResourcePointer<ThemeFonts> fonts;
    ControlState (*readState)(const juce::Component&);

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(BaseTheme)
};

} // namespace kalim::ui
