#include <gtest/gtest.h>

#include <juce_core/juce_core.h>
#include <regex>
#include <set>
#include <string>

namespace
{

const juce::File project(KALIM_SOURCE_FOLDER);

juce::StringPairArray readTranslations(const juce::String& language)
{
    const juce::File file =
        project.getChildFile("resources/languages/Vellacore_" + language + ".loc");
    EXPECT_TRUE(file.existsAsFile()) << file.getFullPathName();
    return juce::LocalisedStrings(file, false).getMappings();
}

/// All texts that the sources hand to the translation, and those that the translation gets from
/// data.
std::set<std::string> collectTexts()
{
    std::set<std::string> texts{"Factory presets", "User presets"};
    const std::regex call(R"re((?:translate|TRANS)\s*\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+)\))re");
    const std::regex joint(R"re("\s+")re");
    for (const char* const name : {"plugin", "ui", "standalone"})
        for (const juce::File& file :
             project.getChildFile(name).findChildFiles(juce::File::findFiles, true, "*.cpp;*.h"))
        {
            const std::string source = file.loadFileAsString().toStdString();
            for (std::sregex_iterator found(source.begin(), source.end(), call), end; found != end;
                 ++found)
            {
                const std::string text = std::regex_replace((*found)[1].str(), joint, "");
                texts.insert(juce::String(text).unquoted().replace("\\n", "\n").toStdString());
            }
        }
    return texts;
}

} // namespace

TEST(Translations, areCompleteInEveryLanguage)
{
    const juce::StringArray reference = readTranslations("de").getAllKeys();
    EXPECT_GT(reference.size(), 40);
    for (const char* const language : {"de", "fr", "es", "ja"})
    {
        const juce::StringPairArray translations = readTranslations(language);
        EXPECT_EQ(translations.getAllKeys(), reference) << language;
        for (const std::string& text : collectTexts())
            EXPECT_TRUE(translations.containsKey(text)) << language << ": " << text;
        for (const juce::String& key : reference)
            EXPECT_EQ(translations[key].containsChar('\n'), key.containsChar('\n'))
                << language << ": " << key;
    }
}
