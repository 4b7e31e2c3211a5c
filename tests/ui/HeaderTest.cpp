#include "tests/ui/OpenEditor.h"

#include <climits>

namespace
{

using Header = OpenEditor;

/// Ids and texts of a menu; '*' is a tick, '#' a header, '-' a separator.
juce::String describe(const juce::PopupMenu& menu)
{
    juce::String text;
    for (juce::PopupMenu::MenuItemIterator iterator(menu); iterator.next();)
    {
        const juce::PopupMenu::Item& item = iterator.getItem();
        if (item.subMenu != nullptr)
            text << item.text << " [" << describe(*item.subMenu) << "] ";
        else if (item.itemID == 0)
            text << (item.isSeparator ? "- " : "# " + item.text + " ");
        else
            text << item.itemID << (item.isTicked ? "* " : " ") << item.text << " ";
    }
    return text.trimEnd();
}

} // namespace

TEST_F(Header, switchesBetweenTwoSettingsThatBeginEqual)
{
    setValue(Kalimmer::FundamentalFrequency, 60.0F);
    reopen();
    for (const auto& [button, frequency, isA] :
         {std::tuple{"aSettingsButton", 60.0F, true}, // is active already
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
    const int last = plugIn.getNumPrograms() - 1;
    for (const auto& [program, button, expected] : {std::tuple{0, "previousPresetButton", last},
                                                    {last, "nextPresetButton", 0},
                                                    {-5, "nextPresetButton", 1},
                                                    {INT_MIN, "nextPresetButton", 1},
                                                    {INT_MAX, "nextPresetButton", 0},
                                                    {0, "nextPresetButton", 1}})
    {
        plugIn.setCurrentProgram(program);
        click(button);
        EXPECT_EQ(plugIn.getCurrentProgram(), expected) << program;
    }
    editor->timerCallback();
    EXPECT_EQ(find<juce::Button>("currentPresetButton").getButtonText(), plugIn.getProgramName(1));
}

TEST_F(Header, offersHelpThemesAndAbout)
{
    const auto describeMenu = [this] { return describe(getHeader().getPlugInMenu()); };
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
    const auto frequency = [this] { return valueOf(Kalimmer::FundamentalFrequency); };
    BasePluginEditor::plugInMenuCallback(8448, editor.get());
    EXPECT_EQ(frequency(), 50.0F);
    editor->loadPresetFile(file.getFullPathName());
    EXPECT_EQ(frequency(), 61.5F);
    click("undoButton");
    EXPECT_EQ(frequency(), 50.0F);
    BasePluginEditor::plugInMenuCallback(8448, nullptr);
    EXPECT_TRUE(file.deleteFile());
}
