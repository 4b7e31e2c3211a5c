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

/// The parts of the framework that show texts here: dialogs, fields, and the choice of a device.
juce::Array<juce::File> getFrameworkSources()
{
    juce::Array<juce::File> files;
    for (const char* const name : {"juce_gui_basics/filebrowser/juce_FileBrowserComponent.cpp",
                                   "juce_gui_basics/filebrowser/juce_FileChooserDialogBox.cpp",
                                   "juce_gui_basics/widgets/juce_ComboBox.cpp",
                                   "juce_gui_basics/widgets/juce_TextEditor.cpp",
                                   "juce_gui_basics/windows/juce_AlertWindow.cpp",
                                   "juce_audio_utils/gui/juce_AudioDeviceSelectorComponent.cpp"})
        files.add(juce::File(KALIM_FRAMEWORK_FOLDER).getChildFile(name));
    return files;
}

juce::Array<juce::File> getOwnSources()
{
    juce::Array<juce::File> files;
    for (const char* const name : {"plugin", "ui", "standalone"})
        files.addArray(
            project.getChildFile(name).findChildFiles(juce::File::findFiles, true, "*.cpp;*.h"));
    return files;
}

/// All texts that the sources hand to the translation.
std::set<std::string> collectTexts(const juce::Array<juce::File>& files)
{
    std::set<std::string> texts;
    const std::regex call(R"re((?:translate|TRANS)\s*\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+)\))re");
    const std::regex joint(R"re("\s+")re");
    for (const juce::File& file : files)
    {
        const std::string source = file.loadFileAsString().toStdString();
        EXPECT_FALSE(source.empty()) << file.getFullPathName();
        for (std::sregex_iterator found(source.begin(), source.end(), call), end; found != end;
             ++found)
        {
            const std::string text = std::regex_replace((*found)[1].str(), joint, "");
            texts.insert(juce::String(text).unquoted().replace("\\n", "\n").toStdString());
        }
    }
    return texts;
}

/// The texts of all sources, and of data.
std::set<std::string> collectTexts()
{
    std::set<std::string> texts = collectTexts(getOwnSources());
    EXPECT_GT(texts.size(), 40U);
    for (const std::string& text : collectTexts(getFrameworkSources()))
        if (const juce::String shown(text); !shown.contains("MIDI") && !shown.contains("bluetooth"))
            texts.insert(text); // no MIDI is offered
    texts.insert({"Factory presets", "User presets"});
    return texts;
}

juce::StringArray linesOf(const char* file)
{
    const juce::String noBreak = juce::String::charToString(0xa0);
    return juce::StringArray::fromLines(
        project.getChildFile(file).loadFileAsString().replace(noBreak, " "));
}

/// Expects a line that holds all of these.
void expectRow(const juce::StringArray& lines, const juce::StringArray& parts)
{
    const auto isRow = [&](const juce::String& line)
    { return std::ranges::all_of(parts, [&](const auto& part) { return line.contains(part); }); };
    EXPECT_TRUE(std::ranges::any_of(lines, isRow)) << parts.joinIntoString(" and ");
}

} // namespace

TEST(Translations, areCompleteInEveryLanguage)
{
    const auto read = [](const juce::File& file)
    { return juce::LocalisedStrings(file, false).getMappings(); };
    const juce::File folder = project.getChildFile("resources/languages");
    const juce::StringArray reference = read(folder.getChildFile("Vellacore_de.loc")).getAllKeys();
    const std::set<std::string> texts = collectTexts();
    EXPECT_GT(texts.size(), 100U);
    const auto files = folder.findChildFiles(juce::File::findFiles, false, "Vellacore_*.loc");
    EXPECT_GE(files.size(), 4);
    for (const juce::File& file : files)
    {
        const juce::String language = file.getFileName();
        const juce::StringPairArray translations = read(file);
        EXPECT_EQ(translations.getAllKeys(), reference) << language;
        for (const std::string& text : texts)
            EXPECT_TRUE(translations.containsKey(text)) << language << ": " << text;
        for (const juce::String& key : reference)
            EXPECT_EQ(translations[key].containsChar('\n'), key.containsChar('\n'))
                << language << ": " << key;
    }
}

/// The window of the stand-alone shows what the files' library says.
TEST(Translations, knowTheReasonsOfFileErrors)
{
    const juce::LocalisedStrings german(
        project.getChildFile("resources/languages/Vellacore_de.loc"), false);
    const juce::StringArray keys = german.getMappings().getAllKeys();
    const std::regex error(R"re(FileError\(\s*[\w.()]+,\s*(?:fmt::format\(|std::string\()?\s*)re"
                           R"re(((?:"(?:[^"\\]|\\.)*"\s*)+))re");
    const std::regex gap(R"re(\{[^}]*\}|"\s*")re");
    int numFound = 0;
    for (const juce::File& file :
         project.getChildFile("audiofile").findChildFiles(juce::File::findFiles, true, "*.cpp"))
    {
        const std::string source = file.loadFileAsString().toStdString();
        for (std::sregex_iterator found(source.begin(), source.end(), error), end; found != end;
             ++found)
        {
            const juce::String joined(
                std::regex_replace((*found)[1].str(), std::regex(R"re("\s*")re"), ""));
            const juce::String reason(
                std::regex_replace(joined.trim().unquoted().toStdString(), gap, "#"));
            // The other way round where the key has a gap for what differs.
            const auto covers = [&](const juce::String& key)
            {
                return key.startsWith(reason.trimEnd()) ||
                       (key.endsWith(": #") && reason.startsWith(key.dropLastCharacters(1)));
            };
            EXPECT_TRUE(reason.removeCharacters("#: ").isEmpty() ||
                        std::any_of(keys.begin(), keys.end(), covers))
                << file.getFileName() << ": " << reason;
            ++numFound;
        }
    }
    EXPECT_GT(numFound, 25);
}

TEST(TablesOfParameters, haveARowForEveryParameterInAllManuals)
{
    const juce::StringArray manualOfOptions = linesOf("docs/manual.md");
    const std::array manuals{
        std::tuple{linesOf("resources/help/Vellacore_en/kalim.html"), " to ", "off"},
        std::tuple{linesOf("resources/help/Vellacore_de/kalim.html"), " bis ", "aus"}};
    for (const auto& parameter : orvo::audio::humParameters)
    {
        const bool isToggle = parameter.kind == orvo::audio::HumParameter::Kind::toggle;
        const juce::String name(parameter.name);
        const juce::String number(parameter.defaultValue);
        const juce::String unit = (juce::String(" ") + parameter.unit).trimEnd();
        const juce::String option =
            (juce::String("--") + parameter.option + " " + parameter.argument).trimEnd();
        const auto rangeWith = [&](const char* to)
        { return juce::String(parameter.min) + to + juce::String(parameter.max); };
        const juce::String values = unit + " | " + rangeWith(" to ") + " | " + number + " |";
        expectRow(manualOfOptions,
                  {"| `" + name + "`", isToggle ? "| | off, on | off |" : "|" + values});
        expectRow(manualOfOptions, {"`" + option + "` |", isToggle ? "| |" : "| " + number + " |"});
        for (const auto& [manual, to, off] : manuals)
        {
            const juce::String range = rangeWith(to) + unit;
            expectRow(manual, {">" + name + "<", isToggle ? ">Off, On" : range + "<",
                               isToggle ? ">Off<" : ">" + number + unit + "<"});
            expectRow(manual, {">" + option + "<", isToggle ? "" : range,
                               ">" + (isToggle ? off : number) + "<"});
        }
    }
}
