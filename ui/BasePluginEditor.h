#pragma once

#include "plugin/BasePluginProcessor.h"
#include "ui/themes/Themes.h"

#include <juce_opengl/juce_opengl.h>
#include <memory>
#include <vector>

namespace kalim::ui::MenuItems
{

// The plug-in's menu
inline constexpr int about = 0x2001;
inline constexpr int help = 0x2002;

// The menu of presets
inline constexpr int savePreset = 0x2010;
inline constexpr int loadPreset = 0x2011;

/// The first theme; the others follow in the order of their table.
inline constexpr int firstTheme = 0x2020;

/// The preset with index 0; the others follow.
inline constexpr int firstPreset = 0x2100;

} // namespace kalim::ui::MenuItems

/// What the editors of all plug-ins of the family have in common: themes, tooltips and the menu of
/// presets with its commands. Message thread.
class BasePluginEditor : public juce::AudioProcessorEditor
{
public:
    /// A row of the table of themes, as it is stored with the properties. Any other number is kept
    /// as it is and shown as the dark theme.
    enum ThemeId : int
    {
        simplisticDark = 0,
        brushedSteel = 1
    };

    explicit BasePluginEditor(BasePlugInProcessor* owner);
    ~BasePluginEditor() override;

    /// Shows the theme, here and in the next editors.
    virtual void setTheme(ThemeId id);

    ThemeId getTheme() const { return themeId; }

    /// Reads the folders of presets again and builds the menu.
    void updatePresetMenu();

    /// The menu as it was built last.
    const juce::PopupMenu& getPresetMenu() const { return presetMenu; }

    void showPresetMenu(juce::Component* target);

    /// Does what was chosen from the menu of presets; nothing without an editor.
    static void plugInMenuCallback(int result, BasePluginEditor* editor);

    /// Imports a preset file, with an undo step before; asks the user for the file if `path` is
    /// empty.
    void loadPresetFile(const juce::String& path);

    /// Exports a preset file; asks the user for its name if `path` is empty.
    void savePresetFile(const juce::String& path);

    /// Keeps a property for the next editors, of this and of other instances.
    void remember(const char* key, int value);

    /// For the host's highlighting of controls.
    int getControlParameterIndex(juce::Component& control) override;

    /// Reads all controls from the processor again.
    virtual void updateParameterControls() {}

private:
    juce::OpenGLContext openGLContext;
    std::vector<std::unique_ptr<kalim::ui::BaseTheme>> themes;
    juce::TooltipWindow tooltipWindow;
    juce::PopupMenu presetMenu;
    ThemeId themeId = simplisticDark;
    BasePlugInProcessor* plugIn;
    BasePlugInProcessor::OpenEditor openEditor;
};
