#include "plugin/BundleFiles.h"

#include "presets/PresetFolders.h"

#include <algorithm>

namespace kalim::plugin
{
namespace
{

juce::File folderOf(juce::File::SpecialLocationType location)
{
    return juce::File::getSpecialLocation(location).getParentDirectory();
}

#if JUCE_LINUX || JUCE_BSD
juce::String getVariable(const char* name)
{
    return juce::SystemStats::getEnvironmentVariable(name, {});
}

juce::String getMessagesLocale()
{
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const juce::String locale = getVariable(name); locale.isNotEmpty())
            return locale;
    return {};
}
#endif

} // namespace

juce::File getResourcesFolder()
{
    constexpr const char* resources = "Contents/Resources";
    const juce::File own = folderOf(juce::File::currentExecutableFile);
    // A program that was started by its bare name does not know its own path, but that of the
    // process.
    for (const juce::File& folder : {own, folderOf(juce::File::hostApplicationPath)})
        if (const auto found = findBundleFolder(folder.getFullPathName().toStdString());
            !found.empty())
            return juce::File(juce::String::fromUTF8(found.c_str())).getChildFile(resources);
    return own.getChildFile(resources);
}

juce::String getDisplayLanguage([[maybe_unused]] const LanguageTest& isAvailable)
{
#if JUCE_LINUX || JUCE_BSD
    // The framework gives the language's English name here, or nothing where the locale is not
    // installed.
    return getLanguageCode(getMessagesLocale(), getVariable("LANGUAGE"), isAvailable);
#else
    return juce::SystemStats::getDisplayLanguage().upToFirstOccurrenceOf("-", false, false);
#endif
}

juce::String getLanguageCode(const juce::String& locale, const juce::String& preferences,
                             const LanguageTest& isAvailable)
{
    const auto codeOf = [](const juce::String& name)
    { return name.initialSectionNotContaining("_-.@:").toLowerCase(); };
    const juce::String code = codeOf(locale);
    if (code.isEmpty() || code == "c" || code == "posix")
        return "en"; // what the texts in the program are written in
    juce::StringArray languages = juce::StringArray::fromTokens(preferences, ":", {});
    languages.add(locale);
    juce::StringArray codes;
    for (const juce::String& language : languages)
        codes.add(codeOf(language));
    codes.removeEmptyStrings();
    const auto* const found = std::find_if(codes.begin(), codes.end(), isAvailable);
    return found == codes.end() ? codes[0] : *found;
}

} // namespace kalim::plugin
