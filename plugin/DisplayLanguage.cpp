#include "plugin/DisplayLanguage.h"

namespace DisplayLanguage
{
namespace
{

constexpr const char* builtIn = "en";

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

juce::String getCode()
{
#if JUCE_LINUX || JUCE_BSD
    // The framework gives the language's English name here, or nothing where the locale is not
    // installed.
    return getCode(getMessagesLocale(), getVariable("LANGUAGE"));
#else
    return juce::SystemStats::getDisplayLanguage().upToFirstOccurrenceOf("-", false, false);
#endif
}

juce::String getCode(const juce::String& locale, const juce::String& preferences)
{
    const auto codeOf = [](const juce::String& name)
    { return name.initialSectionNotContaining("_-.@:").toLowerCase(); };
    const juce::String code = codeOf(locale);
    if (code.isEmpty() || code == "c" || code == "posix")
        return builtIn;
    const juce::String preferred = codeOf(preferences);
    return preferred.isEmpty() ? code : preferred;
}

} // namespace DisplayLanguage
