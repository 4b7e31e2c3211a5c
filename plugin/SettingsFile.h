#pragma once

#include <juce_data_structures/juce_data_structures.h>
#include <memory>
#include <string_view>

/// The file in which editors keep what is no part of a sound's settings. Message thread.
namespace kalim::plugin
{

/// Opens the file of that name: one beside the plug-in's binary if there is one in a folder that
/// can be written to, so that the plug-in can be carried along with its settings, otherwise the one
/// in the user's own folders. A file that cannot be read safely is put aside under another
/// extension and counts as empty; a value that cannot is left out.
std::unique_ptr<juce::PropertiesFile> openSettingsFile(const juce::String& applicationName,
                                                       const juce::File& folderOfBinary);

/// Takes over what others have written to the file since it was read, with the same care.
void reloadSettingsFile(juce::PropertiesFile& properties);

/// The root element of XML that anyone may have written, or null for anything that is not
/// well-formed in the framework's eyes. Refused are also invalid UTF-8, document types and entities
/// of a text's own, instructions, and elements nested deeper than 64: the framework's parser would
/// read beyond its buffer, not return, or use up the stack. Any thread.
std::unique_ptr<juce::XmlElement> parseSafely(std::string_view xml);

} // namespace kalim::plugin
