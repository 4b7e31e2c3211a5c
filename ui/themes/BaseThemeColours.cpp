#include "ui/themes/BaseTheme.h"

void BaseTheme::setTextColours()
{
    setColour(juce::Label::textColourId, palette.window.text);
    setColour(juce::Label::textWhenEditingColourId, palette.field.text);
    setColour(juce::Label::backgroundWhenEditingColourId, palette.field.ground);
    setColour(juce::Label::outlineWhenEditingColourId, getFocusColour(palette.field.ground));
    setColour(juce::TextEditor::backgroundColourId, palette.field.ground);
    setColour(juce::TextEditor::textColourId, palette.field.text);
    setColour(juce::TextEditor::highlightColourId, palette.selection.ground);
    setColour(juce::TextEditor::highlightedTextColourId, palette.selection.text);
    setColour(juce::TextEditor::outlineColourId, palette.outline);
    setColour(juce::TextEditor::focusedOutlineColourId, getFocusColour(palette.field.ground));
    setColour(juce::CaretComponent::caretColourId, palette.field.text);
    setColour(juce::TooltipWindow::backgroundColourId, palette.tooltip.ground);
    setColour(juce::TooltipWindow::textColourId, palette.tooltip.text);
    setColour(juce::TooltipWindow::outlineColourId, palette.outline);
    setColour(juce::HyperlinkButton::textColourId, getFocusColour(palette.window.ground));
    setColour(axisTextColourId, palette.secondaryText);
    setColour(axisLineColourId, palette.secondaryText);
}

void BaseTheme::setControlColours()
{
    setColour(juce::TextButton::buttonColourId, palette.control.ground);
    setColour(juce::TextButton::buttonOnColourId, palette.toggled.ground);
    setColour(juce::TextButton::textColourOffId, palette.control.text);
    setColour(juce::TextButton::textColourOnId, palette.toggled.text);
    setColour(juce::ToggleButton::textColourId, palette.window.text);
    setColour(juce::ToggleButton::tickColourId, palette.toggled.text);
    setColour(juce::ToggleButton::tickDisabledColourId, palette.window.disabledText);
    setColour(juce::ComboBox::backgroundColourId, palette.control.ground);
    setColour(juce::ComboBox::textColourId, palette.control.text);
    setColour(juce::ComboBox::arrowColourId, palette.control.text);
    setColour(juce::ComboBox::buttonColourId, palette.control.ground);
    setColour(juce::ComboBox::focusedOutlineColourId, getFocusColour(palette.control.ground));
    setColour(juce::Slider::backgroundColourId, palette.track);
    setColour(juce::Slider::trackColourId, palette.accent);
    setColour(juce::Slider::thumbColourId, palette.knob);
    setColour(juce::Slider::rotarySliderFillColourId, palette.accent);
    setColour(juce::Slider::rotarySliderOutlineColourId, palette.track);
    setColour(juce::Slider::textBoxTextColourId, palette.display.text);
    setColour(juce::Slider::textBoxBackgroundColourId, palette.display.ground);
    setColour(juce::Slider::textBoxHighlightColourId, palette.selection.ground);
    setColour(juce::Slider::textBoxOutlineColourId, palette.outline);
    setColour(juce::ProgressBar::backgroundColourId, palette.track);
    setColour(juce::ProgressBar::foregroundColourId, palette.accent);
}

void BaseTheme::setWindowColours()
{
    setColour(juce::PopupMenu::headerTextColourId, palette.secondaryText);
    setColour(juce::ScrollBar::thumbColourId, palette.secondaryText);
    setColour(juce::ListBox::backgroundColourId, palette.field.ground);
    setColour(juce::ListBox::textColourId, palette.field.text);
    setColour(juce::DirectoryContentsDisplayComponent::textColourId, palette.field.text);
    setColour(juce::FileBrowserComponent::currentPathBoxBackgroundColourId, palette.control.ground);
    setColour(juce::FileBrowserComponent::currentPathBoxTextColourId, palette.control.text);
    setColour(juce::FileBrowserComponent::currentPathBoxArrowColourId, palette.control.text);
    setColour(juce::FileBrowserComponent::filenameBoxBackgroundColourId, palette.field.ground);
    setColour(juce::FileBrowserComponent::filenameBoxTextColourId, palette.field.text);
    setColour(juce::DocumentWindow::textColourId, palette.header.text);
    setColour(juce::AlertWindow::backgroundColourId, palette.window.ground);
    setColour(curveBackgroundColourId, palette.display.ground);
    setColour(curveGridColourId, palette.grid);
    setColour(curveOutlineColourId, palette.outline);
}
