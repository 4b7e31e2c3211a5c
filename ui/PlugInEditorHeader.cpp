#include "ui/PlugInEditorHeader.h"

#include "Artwork.h"
#include "plugin/KalimConstants.h"
#include "ui/controls/AboutDialog.h"

using namespace kalim::ui;

namespace
{

constexpr int barHeight = 40;
constexpr int shadowHeight = 6;
constexpr int buttonSize = 24;
constexpr int buttonTop = 8;

using Edges = juce::Button::ConnectedEdgeFlags;

} // namespace

const PlugInEditorHeader::Icon PlugInEditorHeader::arrowLeft_svg{artwork::arrowLeft_svg,
                                                                 artwork::arrowLeft_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::arrowRight_svg{artwork::arrowRight_svg,
                                                                  artwork::arrowRight_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::undo_svg{artwork::undo_svg,
                                                            artwork::undo_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::redo_svg{artwork::redo_svg,
                                                            artwork::redo_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::copyRight_svg{artwork::copyRight_svg,
                                                                 artwork::copyRight_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::copyLeft_svg{artwork::copyLeft_svg,
                                                                artwork::copyLeft_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::menu_svg{artwork::menu_svg,
                                                            artwork::menu_svgSize};
const PlugInEditorHeader::Icon PlugInEditorHeader::orvotechLogo_svg{artwork::orvotechLogo_svg,
                                                                    artwork::orvotechLogo_svgSize};

PlugInEditorHeader::PlugInEditorHeader()
{
    add(undoButton, juce::translate("<-"), juce::translate("Undo last changes"),
        Edges::ConnectedOnRight);
    add(redoButton, juce::translate("->"), juce::translate("Redo changes"), Edges::ConnectedOnLeft);
    add(aSettingsButton, juce::translate("A"), juce::translate("Load A settings"),
        Edges::ConnectedOnRight);
    add(bSettingsButton, juce::translate("B"), juce::translate("Load B settings"),
        Edges::ConnectedOnLeft);
    add(copyButton, juce::translate("->"), juce::translate("Copy settings"),
        Edges::ConnectedOnLeft | Edges::ConnectedOnRight);
    add(menuButton, juce::translate(":="), juce::translate("Display menu"));
    add(nextPresetButton, juce::translate("->"), juce::translate("Load next preset"),
        Edges::ConnectedOnLeft);
    add(previousPresetButton, juce::translate("<-"), juce::translate("Load previous preset"),
        Edges::ConnectedOnRight);
    add(currentPresetButton, juce::translate("Default"), juce::translate("Show available presets"),
        Edges::ConnectedOnLeft | Edges::ConnectedOnRight);
    addAndMakeVisible(logoButton);
    logoButton.addListener(this);
    logoButton.setTitle(orvo::companyName);
    logoButton.setDescription(juce::translate("About"));

    setIcon(undoButton, undo_svg);
    setIcon(redoButton, redo_svg);
    setIcon(copyButton, copyRight_svg);
    setIcon(menuButton, menu_svg);
    setIcon(nextPresetButton, arrowRight_svg);
    setIcon(previousPresetButton, arrowLeft_svg);
    logoButton.setImages(makeDrawable(orvotechLogo_svg).get());

    setSize(800, 200);
    for (juce::Button* const slot : {&aSettingsButton, &bSettingsButton})
        slot->setToggleable(true);
    aSettingsButton.setToggleState(true, juce::dontSendNotification);
    setInterceptsMouseClicks(false, true);
}

PlugInEditorHeader::~PlugInEditorHeader()
{
    // The window would stay, in front of everything, without the plug-in that it is about.
    aboutWindow.deleteAndZero();
}

std::unique_ptr<juce::Drawable> PlugInEditorHeader::makeDrawable(const Icon& icon)
{
    return juce::Drawable::createFromImageData(icon.data, static_cast<std::size_t>(icon.size));
}

void PlugInEditorHeader::add(juce::Button& button, const juce::String& text,
                             const juce::String& tooltip, int connectedEdges)
{
    button.setButtonText(text);
    button.setTooltip(tooltip);
    button.setTitle(tooltip);
    button.setConnectedEdges(connectedEdges);
    button.addListener(this);
    addAndMakeVisible(button);
}

void PlugInEditorHeader::setIcon(IconButton& button, const Icon& icon)
{
    button.setIcon(makeDrawable(icon).release());
}

void PlugInEditorHeader::attach(BasePluginEditor* editor, BasePlugInProcessor* processor)
{
    owner = editor;
    plugIn = processor;
    if (plugIn != nullptr)
        plugIn->copyToAlternate();
    updatePresetName();
    updatePlugInMenu();
    updateLayout();
}

void PlugInEditorHeader::updatePresetName()
{
    if (plugIn == nullptr)
        return;
    currentPresetButton.setButtonText(plugIn->getCurrentPresetName());
    currentPresetButton.setTitle(plugIn->getCurrentPresetName());
}

void PlugInEditorHeader::updateHistoryButtons()
{
    if (plugIn == nullptr)
        return;
    undoButton.setEnabled(plugIn->canUndo());
    redoButton.setEnabled(plugIn->canRedo());
}

void PlugInEditorHeader::paint(juce::Graphics& g)
{
    const auto centre = static_cast<float>(getWidth()) * 0.5F;
    g.setGradientFill(juce::ColourGradient(
        juce::Colour(0x32000000), centre, static_cast<float>(barHeight), juce::Colour(0x00000000),
        centre, static_cast<float>(barHeight + shadowHeight), false));
    g.fillRect(0, barHeight, getWidth(), shadowHeight);
    if (auto* const theme = dynamic_cast<BaseTheme*>(&getLookAndFeel()))
    {
        theme->paintHeaderBackground(g, getWidth(), barHeight, getTitle());
        return;
    }
    g.setColour(juce::Colours::white);
    g.fillRect(0, 0, getWidth(), barHeight);
}

void PlugInEditorHeader::resized()
{
    const int width = getWidth();
    const auto place = [](juce::Button& button, int x, int buttonWidth = buttonSize)
    { button.setBounds(x, buttonTop, buttonWidth, buttonSize); };
    place(undoButton, width - 176);
    place(redoButton, width - 152);
    place(aSettingsButton, width - 120);
    place(copyButton, width - 96);
    place(bSettingsButton, width - 72);
    place(menuButton, width - 40, 32);
    place(nextPresetButton, width - 216);
    logoButton.setBounds(8, 0, 80, 40);
    updateLayout();
}

void PlugInEditorHeader::paintOverChildren(juce::Graphics& g)
{
    if (!logoButton.hasKeyboardFocus(false))
        return;
    g.setColour(findColour(juce::TextEditor::focusedOutlineColourId));
    g.drawRoundedRectangle(logoButton.getBounds().toFloat().reduced(0.0F, 4.0F), 4.0F, 2.0F);
}

void PlugInEditorHeader::focusOfChildComponentChanged(FocusChangeType)
{
    repaint();
}

void PlugInEditorHeader::lookAndFeelChanged()
{
    updateLayout();
}

void PlugInEditorHeader::updateLayout()
{
    int titleWidth = 120;
    auto* const theme = dynamic_cast<BaseTheme*>(&getLookAndFeel());
    if (theme != nullptr && plugIn != nullptr)
        titleWidth = static_cast<int>(theme->getTitleWidth(getTitle()));
    const int left = titleWidth + extraTitleOffset;
    previousPresetButton.setBounds(left + 152, buttonTop, buttonSize, buttonSize);
    currentPresetButton.setBounds(left + 176, buttonTop, getWidth() - 392 - left, buttonSize);
}

void PlugInEditorHeader::buttonClicked(juce::Button* button)
{
    if (button == &logoButton)
        juce::URL(orvo::companyWebSite).launchInDefaultBrowser();
    if (plugIn == nullptr || owner == nullptr)
        return;
    if (button == &undoButton)
        plugIn->undo();
    else if (button == &redoButton)
        plugIn->redo();
    else if (button == &aSettingsButton && bSettingsButton.getToggleState())
        activateSettings(true);
    else if (button == &bSettingsButton && aSettingsButton.getToggleState())
        activateSettings(false);
    else if (button == &copyButton)
        plugIn->copyToAlternate();
    else if (button == &nextPresetButton)
        stepPreset(1);
    else if (button == &previousPresetButton)
        stepPreset(-1);
    else if (button == &currentPresetButton)
        owner->showPresetMenu(&currentPresetButton);
    else if (button == &menuButton)
    {
        updatePlugInMenu();
        plugInMenu.showMenuAsync(
            juce::PopupMenu::Options().withTargetComponent(&menuButton),
            juce::ModalCallbackFunction::forComponent(plugInMenuCallback, this));
    }
    updateHistoryButtons();
}

void PlugInEditorHeader::activateSettings(bool isA)
{
    plugIn->switchToAlternateSettings();
    aSettingsButton.setToggleState(isA, juce::dontSendNotification);
    bSettingsButton.setToggleState(!isA, juce::dontSendNotification);
    setIcon(copyButton, isA ? copyRight_svg : copyLeft_svg);
}

void PlugInEditorHeader::stepPreset(int step)
{
    const int count = plugIn->getNumPrograms();
    if (count < 1)
        return;
    // Hosts may have set any number.
    const int current = juce::jlimit(0, count - 1, plugIn->getCurrentProgram());
    plugIn->chooseProgram((count + current + step) % count);
}

void PlugInEditorHeader::updatePlugInMenu()
{
    plugInMenu.clear();
    plugInMenu.setLookAndFeel(&getLookAndFeel());
    for (juce::HashMap<int, MenuCommand>::Iterator command(menuCommands); command.next();)
        plugInMenu.addItem(command.getKey(), command.getValue().name, command.getValue().isEnabled,
                           command.getValue().isTicked);
    if (menuCommands.size() > 0)
        plugInMenu.addSeparator();
    if (isHelpAvailable)
        plugInMenu.addItem(MenuItems::help, juce::translate("Help..."));
    plugInMenu.addSeparator();
    if (hasThemes)
        plugInMenu.addSubMenu(juce::translate("Themes"), makeThemeMenu());
    const juce::String name = plugIn == nullptr ? juce::String() : plugIn->getName();
    plugInMenu.addItem(MenuItems::about, juce::translate("About") + " " + name + "...");
}

juce::PopupMenu PlugInEditorHeader::makeThemeMenu() const
{
    juce::PopupMenu menu;
    int id = 0;
    for (const Theme& theme : themes)
    {
        const bool isShown = owner != nullptr && owner->getTheme() == id;
        menu.addItem(MenuItems::firstTheme + id, juce::translate(theme.name), true, isShown);
        ++id;
    }
    return menu;
}

void PlugInEditorHeader::plugInMenuCallback(int result, PlugInEditorHeader* header)
{
    if (header == nullptr)
        return;
    const int theme = result - MenuItems::firstTheme;
    if (result == MenuItems::about)
        header->showAboutDialog();
    else if (result == MenuItems::help)
        header->plugIn->showHelp();
    else if (findTheme(theme) != nullptr)
    {
        header->owner->setTheme(static_cast<BasePluginEditor::ThemeId>(theme));
        header->updatePlugInMenu();
    }
    else
        header->customMenuCommand(result);
}

void PlugInEditorHeader::customMenuCommand(int id)
{
    listeners.callLastToFirst([id](Listener& listener) { listener.menuCommandChosen(id); });
}

void PlugInEditorHeader::showAboutDialog()
{
    auto content = std::make_unique<AboutDialog>();
    content->setPlugInName(getTitle());
    juce::DialogWindow::LaunchOptions options;
    options.dialogTitle = juce::translate("About") + " " + plugIn->getName();
    options.content.setOwned(content.release());
    options.componentToCentreAround = getParentComponent();
    options.dialogBackgroundColour = juce::Colours::white;
    options.useNativeTitleBar = true;
    aboutWindow.deleteAndZero();
    aboutWindow = options.launchAsync();
    aboutWindow->setLookAndFeel(&getLookAndFeel());
    aboutWindow->setAlwaysOnTop(true);
}

juce::String PlugInEditorHeader::getTitle() const
{
    return plugIn == nullptr ? juce::String() : plugIn->getShortName();
}
