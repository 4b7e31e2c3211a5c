#include "plugin/SettingsFile.h"

#include "plugin/KalimConstants.h"
#include "plugin/SafeXml.h"

namespace SettingsFile
{
namespace
{

constexpr const char* extension = "prop";

juce::PropertiesFile::Options makeOptions(const juce::String& applicationName)
{
    juce::PropertiesFile::Options options;
    options.applicationName = applicationName;
    options.filenameSuffix = extension;
    options.folderName = orvo::companyName;
    options.osxLibrarySubFolder = "Application Support";
    return options;
}

/// The framework parses its files without the care that files from outside need.
juce::File putAsideIfUnsafe(const juce::File& file)
{
    if (!file.exists() || SafeXml::parse(file) != nullptr)
        return file;
    const bool isAside = file.moveFileTo(file.withFileExtension("damaged").getNonexistentSibling());
    return isAside ? file : file.getNonexistentSibling();
}

} // namespace

std::unique_ptr<juce::PropertiesFile> open(const juce::String& applicationName,
                                           const juce::File& folderOfBinary)
{
    const juce::PropertiesFile::Options options = makeOptions(applicationName);
    const juce::File portable = folderOfBinary.getChildFile(applicationName + "." + extension);
    const bool isPortable = folderOfBinary.hasWriteAccess() && portable.existsAsFile();
    const juce::File file = isPortable ? portable : options.getDefaultFile();
    return std::make_unique<juce::PropertiesFile>(putAsideIfUnsafe(file), options);
}

void reload(juce::PropertiesFile& properties)
{
    if (putAsideIfUnsafe(properties.getFile()) == properties.getFile())
        properties.reload();
}

} // namespace SettingsFile
