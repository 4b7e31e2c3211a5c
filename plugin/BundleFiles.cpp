#include "plugin/BundleFiles.h"

#include "presets/PresetFolders.h"

namespace kalim::plugin
{
namespace
{

constexpr const char* builtInLanguage = "en";

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
    const juce::File own = folderOf(juce::File::currentExecutableFile);
    juce::File bundle = own;
    // A program that was started by its bare name does not know its own path, but that of the
    // process.
    for (const juce::File& folder : {own, folderOf(juce::File::hostApplicationPath)})
        if (const auto found = findBundleFolder(folder.getFullPathName().toStdString());
            !found.empty())
        {
            bundle = juce::File(juce::String::fromUTF8(found.c_str()));
            break;
        }
    return bundle.getChildFile("Contents/Resources");
}

juce::String getDisplayLanguage()
{
#if JUCE_LINUX || JUCE_BSD
    // The framework gives the language's English name here, or nothing where the locale is not
    // installed.
    return getLanguageCode(getMessagesLocale(), getVariable("LANGUAGE"));
#else
    return juce::SystemStats::getDisplayLanguage().upToFirstOccurrenceOf("-", false, false);
#endif
}

juce::String getLanguageCode(const juce::String& locale, const juce::String& preferences)
{
    const auto codeOf = [](const juce::String& name)
    { return name.initialSectionNotContaining("_-.@:").toLowerCase(); };
    const juce::String code = codeOf(locale);
    if (code.isEmpty() || code == "c" || code == "posix")
        return builtInLanguage;
    const juce::String preferred = codeOf(preferences);
    return preferred.isEmpty() ? code : preferred;
}

} // namespace kalim::plugin
