#include "plugin/BundleFolder.h"
#include "plugin/DisplayLanguage.h"
#include "plugin/KalimAudioProcessor.h"
#include "plugin/SettingsFile.h"
#include "tests/plugin/ScratchFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

namespace
{

juce::File getHome()
{
    return juce::File::getSpecialLocation(juce::File::userHomeDirectory);
}

} // namespace

TEST(DisplayLanguage, followsTheLocaleAndThenThePreferences)
{
    EXPECT_EQ(DisplayLanguage::getCode("de_DE.UTF-8", ""), "de");
    EXPECT_EQ(DisplayLanguage::getCode("ja", ""), "ja");
    EXPECT_EQ(DisplayLanguage::getCode("en_US.UTF-8", "fr_CA:de"), "fr");
    EXPECT_EQ(DisplayLanguage::getCode("", ""), "en");
    EXPECT_EQ(DisplayLanguage::getCode("C.UTF-8", "de"), "en");
    EXPECT_EQ(DisplayLanguage::getCode("POSIX", "de"), "en");
}

TEST(Localisation, appliesToAllTextsOfThePlugIn)
{
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    const KalimAudioProcessor plugIn;
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(juce::translate("Only odd harmonics"), "Nur ungerade Harmonische");
    EXPECT_EQ(juce::translate("Number of\nharmonics"), "Anzahl der\nHarmonischen");
    juce::LocalisedStrings::setCurrentMappings(nullptr);
}

TEST(Help, isFoundInTheLanguageOrInEnglish)
{
    const KalimAudioProcessor plugIn;
    for (const auto& [language, found] : {std::pair{"de", "de"}, {"xx", "en"}})
    {
        const juce::String path = plugIn.getHelpFilePath(language);
        EXPECT_TRUE(
            path.endsWith(juce::String("/Contents/Resources/Vellacore_") + found + "/kalim.html"));
        EXPECT_TRUE(juce::File(path).existsAsFile());
    }
}

TEST(UserFiles, areFoldersOfTheMakerInTheHome)
{
    const KalimAudioProcessor plugIn;
    const juce::File presets = plugIn.getUserPresetFolder();
    EXPECT_EQ(presets,
              getHome().getChildFile(".config/Application Support/Orvotech/Kalim/Presets"));
    EXPECT_TRUE(presets.isDirectory());
    EXPECT_EQ(plugIn.getProperties().getFile(), getHome().getChildFile("Orvotech/Vellacore1.prop"));
}

TEST(UserFiles, areDoneWithoutInAHomeThatIsMissing)
{
    const juce::String home = getHome().getFullPathName();
    setenv("HOME", "/proc/nowhere", 1);
    {
        KalimAudioProcessor plugIn;
        EXPECT_GT(plugIn.getNumPrograms(), 0);
        plugIn.getProperties().setValue("ThemeId", 1);
        EXPECT_FALSE(plugIn.getProperties().save());
    }
    setenv("HOME", home.toRawUTF8(), 1);
}

TEST_F(ScratchFiles, keepPropertiesBesideTheBinaryWhereThereAreAny)
{
    const juce::File elsewhere = getHome().getChildFile("Orvotech/Test.prop");
    EXPECT_EQ(SettingsFile::open("Test", folder)->getFile(), elsewhere);
    write("Test.prop", "<PROPERTIES><VALUE name=\"ThemeId\" val=\"1\"/></PROPERTIES>");
    const auto properties = SettingsFile::open("Test", folder);
    EXPECT_EQ(properties->getFile(), folder.getChildFile("Test.prop"));
    EXPECT_EQ(properties->getIntValue("ThemeId"), 1);
}

TEST_F(ScratchFiles, putPropertiesAsideThatCannotBeRead)
{
    const juce::String hostile =
        "<!DOCTYPE a [<!ENTITY b SYSTEM \"/dev/zero\">]><PROPERTIES>&b;</PROPERTIES>";
    write("Test.prop", hostile);
    const auto properties = SettingsFile::open("Test", folder);
    EXPECT_EQ(properties->getFile(), folder.getChildFile("Test.prop"));
    EXPECT_EQ(properties->getAllProperties().size(), 0);
    properties->setValue("ThemeId", 1);
    EXPECT_TRUE(properties->save());
    EXPECT_EQ(folder.getChildFile("Test.damaged").loadFileAsString(), hostile);
    EXPECT_EQ(SettingsFile::open("Test", folder)->getIntValue("ThemeId"), 1);
}
