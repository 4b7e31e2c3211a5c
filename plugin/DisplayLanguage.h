#pragma once

#include <juce_core/juce_core.h>

/// In which language the user reads.
namespace DisplayLanguage
{

/// The two-letter code of the system's display language, such as "en". Message thread.
juce::String getCode();

/// The code by the rules that programs follow on POSIX systems: `locale` is that of messages, and
/// `preferences` a list of languages, separated by colons, which counts unless the locale is the
/// neutral one.
juce::String getCode(const juce::String& locale, const juce::String& preferences);

} // namespace DisplayLanguage
