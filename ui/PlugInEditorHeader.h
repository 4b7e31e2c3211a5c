#pragma once

#include "dsp/processor/ListenerRegistry.h"
#include "ui/BasePluginEditor.h"
#include "ui/controls/IconButton.h"

/// The bar at the top of an editor: undo and redo, the A and B settings, presets, the plug-in's
/// menu and the maker's logo. Message thread.
class PlugInEditorHeader : public juce::Component, public juce::Button::Listener
{
public:
    /// An item that a plug-in adds to the menu.
    struct MenuCommand
    {
        juce::String name;
        bool isEnabled = true;
        bool isTicked = false;
    };

    /// Hears of the menu's items that the header does not know.
    class Listener
    {
    public:
        virtual ~Listener() = default;

        virtual void menuCommandChosen(int id) = 0;
    };

    PlugInEditorHeader();
    ~PlugInEditorHeader() override;

    /// Joins the header to its editor and the processor, and makes the A and B settings equal.
    void attach(BasePluginEditor* editor, BasePlugInProcessor* processor);

    /// Shows the present preset's name.
    void updatePresetName();

    /// Lets the arrows of undo and redo be pressed where there is something to undo or redo.
    void updateHistoryButtons();

    /// Makes room for the title, whose width is the theme's.
    void updateLayout();

    void updatePlugInMenu();

    /// The menu as it was built last.
    const juce::PopupMenu& getPlugInMenu() const { return plugInMenu; }

    /// Does what was chosen from the menu; nothing without a header.
    static void plugInMenuCallback(int result, PlugInEditorHeader* header);

    /// Nothing; for headers of other plug-ins.
    virtual void onMenuCommand(int /*id*/) {}

    /// Tells the listeners of a command, the last one added first.
    virtual void customMenuCommand(int id);

    void showAboutDialog();

    void addListener(Listener* listener) { listeners.add(listener); }

    void removeListener(Listener* listener) { listeners.remove(listener); }

    void paint(juce::Graphics& g) override;
    void resized() override;
    void paintOverChildren(juce::Graphics& g) override;
    void lookAndFeelChanged() override;
    void focusOfChildComponentChanged(FocusChangeType cause) override;
    void buttonClicked(juce::Button* button) override;

    /// Items at the top of the plug-in's menu, by id.
    juce::HashMap<int, MenuCommand> menuCommands;

    /// Room between the title and the presets, in pixels.
    int extraTitleOffset = 0;

    /// Whether the menu offers help.
    bool isHelpAvailable = true;

    /// Whether the menu offers the themes.
    bool hasThemes = true;

private:
    struct Icon
    {
        const char* data;
        int size;
    };

    static const Icon arrowLeft_svg;
    static const Icon arrowRight_svg;
    static const Icon undo_svg;
    static const Icon redo_svg;
    static const Icon copyRight_svg;
    static const Icon copyLeft_svg;
    static const Icon menu_svg;
    static const Icon orvotechLogo_svg;

    static std::unique_ptr<juce::Drawable> makeDrawable(const Icon& icon);
    void add(juce::Button& button, const juce::String& text, const juce::String& tooltip,
             int connectedEdges = 0);
    static void setIcon(kalim::ui::IconButton& button, const Icon& icon);
    void activateSettings(bool isA);
    void stepPreset(int step);
    juce::PopupMenu makeThemeMenu() const;
    juce::String getTitle() const;

    BasePluginEditor* owner = nullptr;
    BasePlugInProcessor* plugIn = nullptr;
    juce::PopupMenu plugInMenu;
    juce::Component::SafePointer<juce::DialogWindow> aboutWindow;
    orvo::audio::ListenerRegistry<Listener> listeners;

    kalim::ui::IconButton undoButton{"undoButton"};
    kalim::ui::IconButton redoButton{"redoButton"};
    juce::TextButton aSettingsButton{"aSettingsButton"};
    juce::TextButton bSettingsButton{"bSettingsButton"};
    kalim::ui::IconButton copyButton{"copyButton"};
    kalim::ui::IconButton menuButton{"menuButton"};
    kalim::ui::IconButton nextPresetButton{"nextPresetButton"};
    kalim::ui::IconButton previousPresetButton{"previousPresetButton"};
    juce::TextButton currentPresetButton{"currentPresetButton"};
    juce::DrawableButton logoButton{"logoButton", juce::DrawableButton::ImageFitted};
};
