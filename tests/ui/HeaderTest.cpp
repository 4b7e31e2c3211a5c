#include "tests/ui/OpenEditor.h"

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
    setValue(Kalimmer::FundamentalFrequency, 60.0F);
    reopen();
    for (const auto& [button, frequency, isA] :
         {std::tuple{"aSettingsButton", 60.0F, true}, // active already
          {"bSettingsButton", 60.0F, false},
          {"bSettingsButton", 70.0F, false},
          {"aSettingsButton", 60.0F, true},
          {"copyButton", 60.0F, true},
          {"bSettingsButton", 60.0F, false}})
    {
        if (frequency == 70.0F)
            setValue(Kalimmer::FundamentalFrequency, frequency);
        click(button);
        EXPECT_EQ(valueOf(Kalimmer::FundamentalFrequency), frequency) << button;
        EXPECT_EQ(find<juce::Button>("aSettingsButton").getToggleState(), isA) << button;
        EXPECT_EQ(find<juce::Button>("bSettingsButton").getToggleState(), !isA) << button;
    }
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
        const int next = programAfter("nextPresetButton");
        EXPECT_TRUE(next >= 0 && next < plugIn.getNumPrograms()) << wrong;
    }
}

TEST_F(Header, offersHelpThemesAndAbout)
{
    const auto describeMenu = [&] { return describe(getHeader().getPlugInMenu()); };
    EXPECT_EQ(describeMenu(), "8194 Help... - Themes [8224* Simplistic dark 8225 Brushed steel] "
                              "8193 About Orvotech Kalim...");
    PlugInEditorHeader::plugInMenuCallback(8225, &getHeader());
    EXPECT_EQ(editor->getTheme(), BasePluginEditor::brushedSteel);
    EXPECT_TRUE(describeMenu().contains("8224 Simplistic dark 8225* Brushed steel"));
    PlugInEditorHeader::plugInMenuCallback(8194, nullptr);
    getHeader().menuCommands.set(99, {"Mine", false, true});
    getHeader().updatePlugInMenu();
    EXPECT_TRUE(describeMenu().startsWith("99* Mine - 8194"));
}

TEST_F(Header, keepsAnUnknownThemeShownAsTheDarkOneUntilAnotherInstanceChoosesOne)
{
    const auto expectShown = [&](int id, size_t row)
    {
        reopen();
        EXPECT_EQ(static_cast<int>(editor->getTheme()), id);
        EXPECT_EQ(plugIn.getProperties().getIntValue("ThemeId"), id);
        const auto& shown = dynamic_cast<kalim::ui::BaseTheme&>(editor->getLookAndFeel());
        EXPECT_EQ(shown.getPalette().knob, kalim::ui::themes[row].make()->getPalette().knob) << id;
    };
    for (const int unknown : {7, -1})
    {
        plugIn.getProperties().setValue("ThemeId", unknown);
        plugIn.getProperties().saveIfNeeded();
        expectShown(unknown, 0);
    }
    KalimAudioProcessor other;
    KalimAudioProcessorEditor(&other).setTheme(BasePluginEditor::brushedSteel);
    expectShown(1, 1);
    editor->setTheme(BasePluginEditor::simplisticDark);
    expectShown(0, 0);
}

TEST_F(Header, laysItselfOutAroundTheTitle)
{
    getHeader().setSize(900, 48);
    const auto& name = find("currentPresetButton");
    const auto& previous = find("previousPresetButton");
    EXPECT_EQ(name.getRight(), find("nextPresetButton").getX());
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
    const juce::String menu = describe(editor->getPresetMenu());
    EXPECT_TRUE(menu.startsWith("# Factory presets 8448 Reset Buzz [8449")) << menu;
    EXPECT_TRUE(menu.endsWith(juce::String(8447 + plugIn.getNumPrograms()) + " Test of mine # " +
                              "Saving & loading 8208 Save user preset file... " +
                              "8209 Load user preset file..."));
    const auto frequency = [&] { return valueOf(Kalimmer::FundamentalFrequency); };
    BasePluginEditor::plugInMenuCallback(8448, editor.get());
    EXPECT_EQ(frequency(), 50.0F);
    editor->loadPresetFile(file.getFullPathName());
    EXPECT_EQ(frequency(), 61.5F);
    click("undoButton");
    EXPECT_EQ(frequency(), 50.0F);
    BasePluginEditor::plugInMenuCallback(8448, nullptr);
    EXPECT_TRUE(file.deleteFile());
}
