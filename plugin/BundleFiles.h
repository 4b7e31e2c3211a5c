#pragma once

#include <functional>
#include <juce_core/juce_core.h>

/// What comes with the plug-in: presets, translations, manuals. Message thread.
namespace kalim::plugin
{

/// "Contents/Resources" of the bundle around the plug-in's binary. Bundles of all formats and
/// programs beside their resources find them alike.
juce::File getResourcesFolder();

/// Whether there are texts in the language of a code.
using LanguageTest = std::function<bool(const juce::String& code)>;

/// The two-letter code of the system's display language, such as "en". Where users name several, it
/// is the first one that is available, or else the first.
juce::String getDisplayLanguage(const LanguageTest& isAvailable);

/// The code by the rules that programs follow on POSIX systems: `locale` is that of messages, and
/// `preferences` a list of languages, separated by colons, which counts unless the locale is the
/// neutral one.
juce::String getLanguageCode(const juce::String& locale, const juce::String& preferences,
                             const LanguageTest& isAvailable);

} // namespace kalim::plugin
