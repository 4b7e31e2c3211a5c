#pragma once

#include <juce_data_structures/juce_data_structures.h>
#include <memory>

/// The file in which editors keep what is no part of a sound's settings.
namespace SettingsFile
{

/// Opens the file of that name: one beside the plug-in's binary if there is one in a folder that
/// can be written to, so that the plug-in can be carried along with its settings, otherwise the one
/// in the user's own folders. A file that cannot be read safely is put aside under another
/// extension and counts as empty. Message thread.
std::unique_ptr<juce::PropertiesFile> open(const juce::String& applicationName,
                                           const juce::File& folderOfBinary);

/// Takes over what others have written to the file since it was read, with the same care. Message
/// thread.
void reload(juce::PropertiesFile& properties);

} // namespace SettingsFile
