#include "plugin/BundleFiles.h"
#include "plugin/SettingsFile.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace
{

using kalim::plugin::openSettingsFile;
using testing_support::ScratchFiles;

bool isAccepted(std::string_view xml)
{
    return kalim::plugin::parseSafely(xml) != nullptr;
}

std::string repeat(const char* text, int count)
{
    return juce::String::repeatedString(text, count).toStdString();
}

} // namespace

TEST(DisplayLanguage, followsTheLocaleAndThenThePreferences)
{
    const auto isAvailable = [](const juce::String& code) { return code != "nl" && code != "xx"; };
    for (const auto& [locale, preferences, code] : {std::tuple{"de_DE.UTF-8", "", "de"},
                                                    {"en_US.UTF-8", "fr_CA:de", "fr"},
                                                    {"nl_NL.UTF-8", "nl_NL:nl:de_AT:fr", "de"},
                                                    {"fr_FR.UTF-8", ":nl:xx", "fr"},
                                                    {"nl_NL.UTF-8", "xx:nl", "xx"},
                                                    {"C.UTF-8", "de", "en"},
                                                    {"POSIX", "de", "en"}})
        EXPECT_EQ(kalim::plugin::getLanguageCode(locale, preferences, isAvailable), code)
            << preferences;
}

TEST(BundleFiles, areTranslationsAndManualsInTheLanguageOrInEnglish)
{
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    const KalimAudioProcessor plugIn;
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(juce::translate("Only odd harmonics"), "Nur ungerade Harmonische");
    juce::LocalisedStrings::setCurrentMappings(nullptr);
    for (const auto& [language, end] :
         {std::pair{"de", "/Contents/Resources/Vellacore_de/kalim.html"},
          {"xx", "/Contents/Resources/Vellacore_en/kalim.html"}})
    {
        const juce::File file(plugIn.getHelpFilePath(language));
        EXPECT_TRUE(file.getFullPathName().endsWith(end) && file.existsAsFile()) << language;
    }
}

TEST(UserFiles, areInFoldersOfTheMakerInTheHomeIfThereIsOne)
{
    const juce::File home("~");
    const KalimAudioProcessor atHome;
    EXPECT_EQ(atHome.getUserPresetFolder(),
              home.getChildFile(".config/Application Support/Orvotech/Kalim/Presets"));
    EXPECT_EQ(atHome.getProperties().getFile(), home.getChildFile("Orvotech/Vellacore1.prop"));
    setenv("HOME", "/proc/nowhere", 1);
    KalimAudioProcessor homeless;
    setenv("HOME", home.getFullPathName().toRawUTF8(), 1);
    EXPECT_GT(homeless.getNumPrograms(), 0);
    homeless.getProperties().setValue("ThemeId", 1);
    EXPECT_FALSE(homeless.getProperties().save());
}

TEST_F(ScratchFiles, keepSettingsBesideTheBinaryWhereThereAreAnyThatAreSafe)
{
    EXPECT_EQ(openSettingsFile("Test", folder)->getFile(), juce::File("~/Orvotech/Test.prop"));
    const juce::File file =
        write("Test.prop", "<PROPERTIES><VALUE name=\"ThemeId\" val=\"1\"/>"
                           "<VALUE name=\"X\" val=\" &lt;a>&lt;?y?>x&lt;/a>\"/></PROPERTIES>");
    const juce::File aside = folder.getChildFile("Test.damaged");
    const auto open = openSettingsFile("Test", folder);
    EXPECT_EQ(open->getIntValue("ThemeId"), 1);
    kalim::plugin::reloadSettingsFile(*open);
    EXPECT_TRUE(open->save()); // which would not end with the other value
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
    for (const char* const step :
         {"<b x='/>'>", "<b><!-- </b> -->", "<b><![CDATA[</b>]]>", "<b><?x </b> ?>", "<b '<b>'>",
          "<b x=\"&\" y=\"/>;\">", "<b x='>' /<b>", "< b>"})
        EXPECT_FALSE(isAccepted("<a>" + repeat(step, 20000))) << step;
    EXPECT_FALSE(isAccepted("<a x=\"" + repeat("/>", 40000) + "\">" + repeat("<b>", 40000)));
    std::istringstream texts(
        "<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]><a>&c;</a>\n<a>&b;</a>\n"
        "<a b='\xff\xfe\xc3'/>\n<a b='\xe2\x82\n<a><?y?>x</a>\n<?y?><a/>\n<a/><?y?>\n"
        "<?xml version='1.0'?><?xml version='1.0'?><a/>\n<?xml \n\ntext\n<\n<a\n<a b\n<a b=\n"
        "<a b='\n<!--\n<a>&\n<a>&#\n<a>&#99999999999;</a>\n</a>");
    for (std::string text; std::getline(texts, text);)
        EXPECT_FALSE(isAccepted(text)) << text;
}
