#include "ui/BasePluginEditor.h"

#include "plugin/SettingsFile.h"
#include "ui/ParameterSlider.h"

namespace MenuItems = kalim::ui::MenuItems;

namespace
{

constexpr int tooltipDelayMilliseconds = 700;
constexpr const char* themeKey = "ThemeId";

void loadPresetEntries(juce::PopupMenu& menu, const juce::ValueTree& tree)
{
    for (const juce::ValueTree& child : tree)
    {
        const juce::String name = child["Name"].toString();
        if (child.hasType("PresetFolder"))
        {
            juce::PopupMenu folder;
            loadPresetEntries(folder, child);
            menu.addSubMenu(name, folder);
        }
        else if (child.hasType("Preset"))
        {
            menu.addItem(MenuItems::firstPreset + static_cast<int>(child["Index"]), name);
        }
    }
}

/// The framework's own file chooser looks like the editor while it is open.
class ScopedDefaultLook
{
public:
    explicit ScopedDefaultLook(juce::LookAndFeel& look)
        : previous(&juce::LookAndFeel::getDefaultLookAndFeel())
    {
        juce::LookAndFeel::setDefaultLookAndFeel(&look);
    }

    ~ScopedDefaultLook() { juce::LookAndFeel::setDefaultLookAndFeel(previous.get()); }

    ScopedDefaultLook(const ScopedDefaultLook&) = delete;
    ScopedDefaultLook& operator=(const ScopedDefaultLook&) = delete;

private:
    juce::WeakReference<juce::LookAndFeel> previous;
};

/// A name without the extension gets it, or the preset would not be listed.
juce::File withPresetExtension(const juce::File& file)
{
    return file.hasFileExtension("xml") ? file : file.getSiblingFile(file.getFileName() + ".xml");
}

/// Asks as the framework's file chooser does.
bool mayBeReplaced(const juce::File& file, juce::Component* associated)
{
    return juce::AlertWindow::showOkCancelBox(
        juce::MessageBoxIconType::WarningIcon, juce::translate("File already exists"),
        juce::translate("There's already a file called: FLNM")
                .replace("FLNM", file.getFullPathName()) +
            "\n\n" + juce::translate("Are you sure you want to overwrite it?"),
        juce::translate("Overwrite"), juce::translate("Cancel"), associated);
}

} // namespace

BasePluginEditor::BasePluginEditor(BasePlugInProcessor* owner)
    : juce::AudioProcessorEditor(owner)
    , tooltipWindow(this, tooltipDelayMilliseconds)
    , plugIn(owner)
    , openEditor(*owner)
{
    if ((juce::SystemStats::getOperatingSystemType() & juce::SystemStats::MacOSX) != 0)
        openGLContext.attachTo(*this);
    for (const kalim::ui::Theme& theme : kalim::ui::themes)
        themes.push_back(theme.make());
    // Another instance may have written the file since.
    kalim::plugin::reloadSettingsFile(plugIn->getProperties());
    BasePluginEditor::setTheme(
        static_cast<ThemeId>(plugIn->getProperties().getIntValue(themeKey, simplisticDark)));
    updatePresetMenu();
}

BasePluginEditor::~BasePluginEditor()
{
    // A host may close the editor while a menu is open, which is drawn by our theme.
    juce::PopupMenu::dismissAllActiveMenus();
    openGLContext.detach();
    setLookAndFeel(nullptr);
    presetMenu.setLookAndFeel(nullptr);
}

void BasePluginEditor::setTheme(ThemeId id)
{
    const bool isKnown = kalim::ui::findTheme(id) != nullptr;
    juce::LookAndFeel* const look =
        themes[static_cast<size_t>(isKnown ? id : simplisticDark)].get();
    setLookAndFeel(look);
    presetMenu.setLookAndFeel(look);
    themeId = id;
    remember(themeKey, static_cast<int>(id));
}

void BasePluginEditor::remember(const char* key, int value)
{
    juce::PropertiesFile& file = plugIn->getProperties();
    if (file.containsKey(key) && file.getIntValue(key) == value)
        return;
    // What other instances have written in the meantime stays.
    kalim::plugin::reloadSettingsFile(file);
    file.setValue(key, value);
    file.saveIfNeeded();
}

void BasePluginEditor::updatePresetMenu()
{
    plugIn->updatePresetTree();
    presetMenu.clear();
    for (const juce::ValueTree& folder : plugIn->getPresetTree())
    {
        presetMenu.addSectionHeader(juce::translate(folder["Name"].toString()));
        loadPresetEntries(presetMenu, folder);
    }
    presetMenu.addSectionHeader(juce::translate("Saving & loading"));
    presetMenu.addItem(MenuItems::savePreset, juce::translate("Save user preset file..."));
    presetMenu.addItem(MenuItems::loadPreset, juce::translate("Load user preset file..."));
}

void BasePluginEditor::showPresetMenu(juce::Component* target)
{
    presetMenu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(target),
                             juce::ModalCallbackFunction::forComponent(plugInMenuCallback, this));
}

void BasePluginEditor::plugInMenuCallback(int result, BasePluginEditor* editor)
{
    if (editor == nullptr)
        return;
    if (result == MenuItems::savePreset)
        editor->savePresetFile({});
    else if (result == MenuItems::loadPreset)
        editor->loadPresetFile({});
    else if (result >= MenuItems::firstPreset)
        editor->plugIn->chooseProgram(result - MenuItems::firstPreset);
}

void BasePluginEditor::loadPresetFile(const juce::String& path)
{
    juce::File file(path);
    if (path.isEmpty())
    {
        const SafePointer<BasePluginEditor> self(this);
        const ScopedDefaultLook look(getLookAndFeel());
        juce::FileChooser chooser(
            juce::translate("Please select the preset file you want to import..."),
            plugIn->getUserPresetFolder(), "*.xml", true, false);
        // The host may close the editor while the user chooses.
        if (!chooser.browseForFileToOpen() || self == nullptr)
            return;
        file = chooser.getResult();
    }
    plugIn->addUndoState();
    if (!plugIn->importFromPresetFile(file))
        plugIn->removeUndoStateIfUnchanged();
}

void BasePluginEditor::savePresetFile(const juce::String& path)
{
    juce::File file(path);
    if (path.isEmpty())
    {
        const SafePointer<BasePluginEditor> self(this);
        const ScopedDefaultLook look(getLookAndFeel());
        juce::FileChooser chooser(
            juce::translate("Please choose a file name for the preset file you want to export..."),
            plugIn->getUserPresetFolder(), "*.xml", true, false);
        if (!chooser.browseForFileToSave(true) || self == nullptr)
            return;
        file = withPresetExtension(chooser.getResult());
        // Of this name the file chooser knows nothing.
        if (file != chooser.getResult() && file.exists() &&
            (!mayBeReplaced(file, this) || self == nullptr))
            return;
    }
    if (!plugIn->exportToPresetFile(file))
        return;
    plugIn->setCurrentPresetName(file.getFileNameWithoutExtension());
    updateParameterControls();
    updatePresetMenu();
}

int BasePluginEditor::getControlParameterIndex(juce::Component& control)
{
    const auto* const slider = dynamic_cast<ParameterSlider*>(&control);
    return slider == nullptr ? -1 : slider->getPublicParameterIndex();
}
