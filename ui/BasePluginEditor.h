#pragma once

#include "plugin/BasePluginProcessor.h"
#include "ui/themes/DarkTheme.h"
#include "ui/themes/SteelTheme.h"

#include <juce_opengl/juce_opengl.h>

/// What the editors of all plug-ins of the family have in common: the themes, the tooltips, the
/// menu of presets and its commands. Message thread.
class BasePluginEditor : public juce::AudioProcessorEditor
{
public:
    /// As it is stored with the properties; what is neither of these is shown as the dark theme.
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

    /// What was chosen from the menu of presets; nothing happens when there is no editor any more.
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
    SteelTheme steelTheme;
    DarkTheme darkTheme;
    juce::TooltipWindow tooltipWindow;
    juce::PopupMenu presetMenu;
    ThemeId themeId = simplisticDark;
    BasePlugInProcessor* plugIn;
    BasePlugInProcessor::OpenEditor openEditor;
};
