#include "dsp/hum/HumParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <juce_core/juce_core.h>
#include <regex>
#include <set>
#include <string>
#include <tuple>

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

juce::StringArray linesOf(const juce::String& file)
{
    const juce::String noBreak = juce::String::charToString(0xa0);
    return juce::StringArray::fromLines(
        project.getChildFile(file).loadFileAsString().replace(noBreak, " "));
}

/// Expects a line that holds all of these.
void expectRow(const juce::StringArray& lines, const juce::StringArray& parts)
{
    for (const juce::String& line : lines)
        if (std::all_of(parts.begin(), parts.end(),
                        [&](const juce::String& part) { return line.contains(part); }))
            return;
    ADD_FAILURE() << "There is no row with " << parts.joinIntoString(" and ");
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

TEST(TablesOfParameters, haveARowForEveryParameterInReadMeAndManuals)
{
    const juce::StringArray readMe = linesOf("README.md");
    const std::array manuals{
        std::tuple{linesOf("resources/help/Vellacore_en/kalim.html"), " to ", "off"},
        std::tuple{linesOf("resources/help/Vellacore_de/kalim.html"), " bis ", "aus"}};
    for (const auto& parameter : orvo::audio::humParameters)
    {
        const bool isToggle = parameter.kind == orvo::audio::HumParameter::Kind::toggle;
        const juce::String name(parameter.name);
        const juce::String number(parameter.defaultValue);
        const auto withUnit = [&](const juce::String& text)
        { return (text + " " + parameter.unit).trimEnd(); };
        const auto range = [&](const char* to)
        { return juce::String(parameter.min) + to + juce::String(parameter.max); };
        const juce::String option =
            (juce::String("--") + parameter.option + " " + parameter.argument).trimEnd();

        expectRow(readMe, {"| `" + name + "`", isToggle ? juce::String("| | off, on | off |")
                                                        : withUnit("|") + " | " + range(" to ") +
                                                              " | " + number + " |"});
        expectRow(readMe, {"`" + option + "` |", isToggle ? "| |" : "| " + number + " |"});
        for (const auto& [manual, to, off] : manuals)
        {
            expectRow(manual, {">" + name + "<", isToggle ? ">Off, On" : withUnit(range(to)) + "<",
                               isToggle ? ">Off<" : ">" + withUnit(number) + "<"});
            expectRow(manual, {">" + option + "<", isToggle ? "" : withUnit(range(to)),
                               ">" + (isToggle ? off : number) + "<"});
        }
    }
}
