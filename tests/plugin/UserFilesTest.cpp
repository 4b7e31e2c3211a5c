#include "plugin/BundleFiles.h"
#include "plugin/KalimAudioProcessor.h"
#include "plugin/SettingsFile.h"
#include "tests/plugin/ScratchFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace
{

using kalim::plugin::openSettingsFile;

juce::File getHome()
{
    return juce::File::getSpecialLocation(juce::File::userHomeDirectory);
}

bool isAccepted(std::string_view xml)
{
    return kalim::plugin::parseSafely(xml) != nullptr;
}

std::string repeat(std::string_view text, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

} // namespace

TEST(DisplayLanguage, followsTheLocaleAndThenThePreferences)
{
    for (const auto& [locale, preferences, code] : {std::tuple{"de_DE.UTF-8", "", "de"},
                                                    {"ja", "", "ja"},
                                                    {"en_US.UTF-8", "fr_CA:de", "fr"},
                                                    {"", "", "en"},
                                                    {"C.UTF-8", "de", "en"},
                                                    {"POSIX", "de", "en"}})
        EXPECT_EQ(kalim::plugin::getLanguageCode(locale, preferences), code);
}

TEST(BundleFiles, areTranslationsAndManualsInTheLanguageOrInEnglish)
{
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    const KalimAudioProcessor plugIn;
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(juce::translate("Only odd harmonics"), "Nur ungerade Harmonische");
    EXPECT_EQ(juce::translate("Number of\nharmonics"), "Anzahl der\nHarmonischen");
    juce::LocalisedStrings::setCurrentMappings(nullptr);
    for (const auto& [language, found] : {std::pair{"de", "de"}, {"xx", "en"}})
    {
        const juce::String path = plugIn.getHelpFilePath(language);
        EXPECT_TRUE(
            path.endsWith(juce::String("/Contents/Resources/Vellacore_") + found + "/kalim.html"));
        EXPECT_TRUE(juce::File(path).existsAsFile());
    }
}

TEST(UserFiles, areInFoldersOfTheMakerInTheHomeIfThereIsOne)
{
    const juce::String home = getHome().getFullPathName();
    {
        const KalimAudioProcessor plugIn;
        const juce::File presets = plugIn.getUserPresetFolder();
        EXPECT_EQ(presets.getFullPathName(),
                  home + "/.config/Application Support/Orvotech/Kalim/Presets");
        EXPECT_TRUE(presets.isDirectory());
        EXPECT_EQ(plugIn.getProperties().getFile().getFullPathName(),
                  home + "/Orvotech/Vellacore1.prop");
    }
    setenv("HOME", "/proc/nowhere", 1);
    {
        KalimAudioProcessor plugIn;
        EXPECT_GT(plugIn.getNumPrograms(), 0);
        plugIn.getProperties().setValue("ThemeId", 1);
        EXPECT_FALSE(plugIn.getProperties().save());
    }
    setenv("HOME", home.toRawUTF8(), 1);
}

TEST_F(ScratchFiles, keepSettingsBesideTheBinaryWhereThereAreAnyThatAreSafe)
{
    const juce::File elsewhere = getHome().getChildFile("Orvotech/Test.prop");
    EXPECT_EQ(openSettingsFile("Test", folder)->getFile(), elsewhere);
    const juce::File file =
        write("Test.prop", "<PROPERTIES><VALUE name=\"ThemeId\" val=\"1\"/></PROPERTIES>");
    const juce::File aside = folder.getChildFile("Test.damaged");
    EXPECT_EQ(openSettingsFile("Test", folder)->getIntValue("ThemeId"), 1);
    for (const std::string& hostile :
         {"<PROPERTIES><?y?>x</PROPERTIES>" + std::string(), std::string("<PROPERTIES>\xff"),
          "<PROPERTIES>" + std::string(1U << 20U, ' ') + "</PROPERTIES>"})
    {
        ASSERT_TRUE(file.replaceWithData(hostile.data(), hostile.size()));
        const auto settings = openSettingsFile("Test", folder);
        EXPECT_EQ(settings->getFile(), file);
        EXPECT_EQ(settings->getAllProperties().size(), 0);
        settings->setValue("ThemeId", 2);
        EXPECT_TRUE(settings->save());
        EXPECT_EQ(aside.getSize(), static_cast<juce::int64>(hostile.size()));
        EXPECT_TRUE(aside.deleteFile());
        EXPECT_EQ(openSettingsFile("Test", folder)->getIntValue("ThemeId"), 2);
        EXPECT_TRUE(file.deleteFile());
        // Reading from a pipe would not end.
        ASSERT_EQ(mkfifo(file.getFullPathName().toRawUTF8(), 0600), 0);
        kalim::plugin::reloadSettingsFile(*settings);
        EXPECT_FALSE(file.exists());
        EXPECT_TRUE(aside.deleteFile());
    }
}

TEST(SafeXml, acceptsWhatPeopleWriteAndRefusesWhatTheParserWouldNotSurvive)
{
    for (const std::string& text :
         {std::string("\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n"
                      "<!-- R&D > <b> ' -->\n<Preset a = '1' b=\"&lt;&#252;&#xFC;>\"><c:d-e.f/>"
                      "\xc3\xbc &amp; <![CDATA[ <x> & ]]></Preset>\n"),
          repeat("<a>", 64) + repeat("</a>", 64),
          "<a>" + repeat("<b x='/>'/><c></c>", 10000) + "</a>"})
        EXPECT_TRUE(isAccepted(text)) << text.substr(0, 100);
    EXPECT_FALSE(isAccepted(repeat("<a>", 65) + repeat("</a>", 65)));
    // Deep nesting in the disguise of things that look like closing tags, or hide opening ones.
    for (const std::string_view step :
         {"<b x='/>'>", "<b><!-- </b> -->", "<b><![CDATA[</b>]]>", "<b><?x </b> ?>", "<b '<b>'>",
          "<b x=\"&\" y=\"/>;\">", "<b x='>' /<b>", "< b>"})
        EXPECT_FALSE(isAccepted("<a>" + repeat(step, 20000))) << step;
    EXPECT_FALSE(isAccepted("<a x=\"" + repeat("/>", 40000) + "\">" + repeat("<b>", 40000)));
    for (const std::string_view text :
         {"<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]><a>&c;</a>",
          "<a>&b;</a>",
          "<a b='\xff\xfe\xc3'/>",
          "<a b='\xe2\x82",
          "<a><?y?>x</a>",
          "<?y?><a/>",
          "<a/><?y?>",
          "<?xml version='1.0'?><?xml version='1.0'?><a/>",
          "<?xml ",
          "",
          "text",
          "<",
          "<a",
          "<a b",
          "<a b=",
          "<a b='",
          "<!--",
          "<a>&",
          "<a>&#",
          "<a>&#99999999999;</a>",
          "</a>"})
        EXPECT_FALSE(isAccepted(text)) << text;
}
