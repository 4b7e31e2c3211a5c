#include "tests/support/framework/MarkedLanguage.h"
#include "tests/ui/OpenEditor.h"
#include "ui/controls/AboutDialog.h"

namespace
{

/// What is no word of a language, or a button's text that its picture hides.
const juce::StringArray names{"Orvotech", "Kalim", "KALIM", "1.0.0", "Hz", "2k", "logoButton"};

struct MarkedWords : MarkedLanguage, OpenEditor
{
    juce::StringArray namesWithPresets()
    {
        juce::StringArray all;
        for (int i = 0; i < plugIn.getNumPrograms(); ++i)
            all.add(plugIn.getProgramName(i));
        for (const juce::ValueTree& folder : plugIn.getPresetTree())
            for (const juce::ValueTree& child : folder)
                if (child.hasType("PresetFolder"))
                    all.add(child["Name"].toString());
        all.addArray(names);
        return all;
    }

    static void expectNone(const juce::StringArray& unmarked)
    {
        EXPECT_TRUE(unmarked.isEmpty()) << unmarked.joinIntoString("\n");
    }
};

} // namespace

TEST_F(MarkedWords, areAllThatTheEditorAndItsMenusShow)
{
    editor->timerCallback();
    EXPECT_TRUE(find<juce::Button>("residualToggle").getButtonText().startsWithChar(0xab));
    const juce::StringArray known = namesWithPresets();
    expectNone(findUnmarked(*editor, known));
    getHeader().updatePlugInMenu();
    expectNone(findUnmarked(getHeader().getPlugInMenu(), known));
    expectNone(findUnmarked(editor->getPresetMenu(), known));
    EXPECT_TRUE(plugIn.getParameterText(4).startsWithChar(0xab)); // as hosts show a switch
}

TEST_F(MarkedWords, areAllThatDialogsAndFieldsShow)
{
    if (testing_support::isForThreadsOnly)
        GTEST_SKIP();
    kalim::ui::AboutDialog about;
    about.setPlugInName("Kalim");
    expectNone(findUnmarked(about, names));
    const juce::File home("~");
    // The arrow upwards and the list have names that the framework does not let us translate.
    juce::StringArray withPath{"up", "Files"};
    withPath.addArray(names);
    withPath.addArray(
        {home.getFullPathName(), home.getParentDirectory().getFullPathName(), "x.xml"});
    for (const int mode :
         {juce::FileBrowserComponent::openMode, juce::FileBrowserComponent::saveMode})
    {
        juce::FileBrowserComponent browser(mode | juce::FileBrowserComponent::canSelectFiles,
                                           home.getChildFile("x.xml"), nullptr, nullptr);
        juce::FileChooserDialogBox box({}, {}, browser, true, {}, editor.get());
        expectNone(findUnmarked(box, withPath));
    }
    juce::TextEditor field;
    juce::PopupMenu menu;
    field.setText("something");
    field.addPopupMenuItems(menu, nullptr);
    EXPECT_GE(menu.getNumItems(), 5);
    expectNone(findUnmarked(menu, names));
}
