#include "tests/ui/OpenEditor.h"
#include "ui/MenuItems.h"

#include <limits>

namespace
{

using Header = OpenEditor;

/// Ids and texts of a menu, with its sub-menus in brackets; '*' is a tick, '-' a separator.
juce::String describe(const juce::PopupMenu& menu)
{
    juce::String text;
    for (juce::PopupMenu::MenuItemIterator iterator(menu); iterator.next();)
    {
        const juce::PopupMenu::Item& item = iterator.getItem();
        if (item.isSeparator)
            text << "- ";
        else if (item.subMenu != nullptr)
            text << item.text << " [" << describe(*item.subMenu) << "] ";
        else if (item.isSectionHeader)
            text << "# " << item.text << " ";
        else
            text << item.itemID << (item.isTicked ? "*" : "") << " " << item.text << " ";
    }
    return text.trimEnd();
}

} // namespace

TEST_F(Header, switchesBetweenTwoSettingsThatBeginEqual)
{
    const auto expectAfter = [&](const char* button, float frequency, bool isA)
    {
        click(button);
        EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), frequency) << button;
        EXPECT_EQ(find<juce::Button>("aSettingsButton").getToggleState(), isA) << button;
        EXPECT_EQ(find<juce::Button>("bSettingsButton").getToggleState(), !isA) << button;
    };
    setValue(Kalimmer::FundamentalFrequency, 60.0F);
    reopen();
    expectAfter("aSettingsButton", 60.0F, true); // active already
    expectAfter("bSettingsButton", 60.0F, false);
    setValue(Kalimmer::FundamentalFrequency, 70.0F);
    expectAfter("bSettingsButton", 70.0F, false);
    expectAfter("aSettingsButton", 60.0F, true);
    expectAfter("copyButton", 60.0F, true);
    expectAfter("bSettingsButton", 60.0F, false);
}

TEST_F(Header, stepsThroughThePresetsRoundAndRound)
{
    const auto programAfter = [&](const char* button)
    {
        click(button);
        return plugIn.getCurrentProgram();
    };
    ASSERT_EQ(plugIn.getCurrentProgram(), 0);
    EXPECT_EQ(programAfter("previousPresetButton"), plugIn.getNumPrograms() - 1);
    EXPECT_EQ(programAfter("nextPresetButton"), 0);
    EXPECT_EQ(programAfter("nextPresetButton"), 1);
    editor->timerCallback();
    EXPECT_EQ(find<juce::Button>("currentPresetButton").getButtonText(), plugIn.getProgramName(1));
    for (const int wrong : {-5, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    {
        plugIn.setCurrentProgram(wrong);
        EXPECT_TRUE(
            juce::isPositiveAndBelow(programAfter("nextPresetButton"), plugIn.getNumPrograms()));
    }
}

TEST_F(Header, offersHelpThemesAndAbout)
{
    EXPECT_EQ(describe(getHeader().getPlugInMenu()),
              "8194 Help... - Themes [8224* Simplistic dark 8225 Brushed steel] "
              "8193 About Orvotech Kalim...");
    PlugInEditorHeader::plugInMenuCallback(MenuItems::brushedSteel, &getHeader());
    EXPECT_EQ(editor->getTheme(), BasePluginEditor::brushedSteel);
    EXPECT_TRUE(describe(getHeader().getPlugInMenu()).contains("8225* Brushed steel"));
    PlugInEditorHeader::plugInMenuCallback(MenuItems::help, nullptr);
    getHeader().menuCommands.set(99, {"Mine", false, true});
    getHeader().updatePlugInMenu();
    EXPECT_TRUE(describe(getHeader().getPlugInMenu()).startsWith("99* Mine - 8194"));
}

TEST_F(Header, keepsAnUnknownThemeShownAsTheDarkOneUntilAnotherInstanceChoosesOne)
{
    plugIn.getProperties().setValue("ThemeId", 7);
    plugIn.getProperties().saveIfNeeded();
    reopen();
    EXPECT_EQ(static_cast<int>(editor->getTheme()), 7);
    EXPECT_NE(dynamic_cast<DarkTheme*>(&editor->getLookAndFeel()), nullptr);
    EXPECT_EQ(plugIn.getProperties().getIntValue("ThemeId"), 7);
    KalimAudioProcessor other;
    KalimAudioProcessorEditor(&other).setTheme(BasePluginEditor::brushedSteel);
    reopen();
    EXPECT_EQ(editor->getTheme(), BasePluginEditor::brushedSteel);
    EXPECT_NE(dynamic_cast<SteelTheme*>(&editor->getLookAndFeel()), nullptr);
    editor->setTheme(BasePluginEditor::simplisticDark);
}

TEST_F(Header, laysItselfOutAroundTheTitle)
{
    getHeader().setSize(900, 48);
    const auto& name = find<juce::Component>("currentPresetButton");
    const auto& next = find<juce::Component>("nextPresetButton");
    const auto& previous = find<juce::Component>("previousPresetButton");
    EXPECT_EQ(name.getRight(), next.getX());
    EXPECT_EQ(previous.getRight(), name.getX());
    juce::LookAndFeel_V4 plain;
    getHeader().setLookAndFeel(&plain);
    EXPECT_EQ(previous.getX(), 120 + 152);
    getHeader().setLookAndFeel(nullptr);
}

TEST_F(Header, savesAndLoadsPresetsOfTheUser)
{
    const juce::File file = plugIn.getUserPresetFolder().getChildFile("Test of mine.xml");
    setValue(Kalimmer::FundamentalFrequency, 61.5F);
    editor->savePresetFile(file.getFullPathName());
    EXPECT_EQ(find<juce::Button>("currentPresetButton").getButtonText(), "Test of mine");
    const int index = plugIn.getNumPrograms() - 1;
    EXPECT_TRUE(describe(editor->getPresetMenu())
                    .contains("# User presets " + juce::String(MenuItems::firstPreset + index) +
                              " Test of mine # Saving & loading 8208 Save user preset file... "
                              "8209 Load user preset file..."));
    EXPECT_TRUE(
        describe(editor->getPresetMenu()).startsWith("# Factory presets 8448 Reset Buzz [8449"));

    BasePluginEditor::plugInMenuCallback(MenuItems::firstPreset, editor.get());
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
    editor->loadPresetFile(file.getFullPathName());
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 61.5F);
    click("undoButton");
    EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), 50.0F);
    BasePluginEditor::plugInMenuCallback(MenuItems::firstPreset, nullptr);
    EXPECT_TRUE(file.deleteFile());
}
