// Where the plug-in meets its files: presets, properties, translations and the manual.

#include "plugin/BasePluginProcessor.h"
#include "plugin/BundleFolder.h"
#include "plugin/DisplayLanguage.h"
#include "plugin/KalimConstants.h"
#include "plugin/SafeXml.h"
#include "plugin/SettingsFile.h"

#include <stdexcept>

namespace
{

/// How long after a restored state a program change counts as part of the restoring.
constexpr juce::uint32 restoreGuardMilliseconds = 200;

juce::String getResourcesPath()
{
    return findBundleFolder().getFullPathName() + "/Contents/Resources/";
}

juce::String withoutSpaces(const juce::String& text)
{
    return text.removeCharacters(" ");
}

} // namespace

std::unique_ptr<juce::PropertiesFile> BasePlugInProcessor::createPropertiesFile() const
{
    const juce::String majorVersion = plugInVersion.upToFirstOccurrenceOf(".", false, false);
    return SettingsFile::open(
        withoutSpaces(bundleName + majorVersion),
        juce::File::getSpecialLocation(juce::File::currentExecutableFile).getParentDirectory());
}

void BasePlugInProcessor::initializeLocalization()
{
    const juce::File file(getResourcesPath() + withoutSpaces(bundleName) + "_" +
                          DisplayLanguage::getCode() + ".loc");
    if (file.existsAsFile())
        juce::LocalisedStrings::setCurrentMappings(
            std::make_unique<juce::LocalisedStrings>(file, false).release());
}

void BasePlugInProcessor::initializePresetHandling()
{
    factoryPresetFolder = juce::File(getResourcesPath() + "Presets/");
    const juce::File userFiles =
        juce::File::getSpecialLocation(juce::File::userApplicationDataDirectory);
    userPresetFolder = juce::File(userFiles.getFullPathName() + "/Application Support/" +
                                  orvo::companyName + "/" + plugInName + "/Presets/");
    userPresetFolder.createDirectory();
    updatePresetTree();
    const int reset = presets.getResetPresetIndex();
    currentProgram = reset;
    if (reset < presets.size())
        setCurrentPresetName(presets.find(reset).name);
}

void BasePlugInProcessor::updatePresetTree()
{
    presets.update(factoryPresetFolder, userPresetFolder);
}

juce::String BasePlugInProcessor::getHelpFilePath(const juce::String& language) const
{
    const juce::String start = getResourcesPath() + withoutSpaces(bundleName) + "_";
    const juce::String page = "/" + withoutSpaces(plugInName.toLowerCase()) + ".html";
    const juce::String path = start + language + page;
    return juce::File(path).existsAsFile() ? path : start + "en" + page;
}

void BasePlugInProcessor::showHelp()
{
    juce::Process::openDocument(getHelpFilePath(DisplayLanguage::getCode()), {});
}

const juce::String BasePlugInProcessor::getProgramName(int index)
{
    return presets.find(index).name;
}

void BasePlugInProcessor::changeProgramName(int, const juce::String&) {}

void BasePlugInProcessor::setCurrentProgram(int index)
{
    if (juce::Time::getMillisecondCounter() - lastStateLoadTime < restoreGuardMilliseconds)
        return;
    addUndoState();
    currentProgram = index;
    importFromPresetFile(juce::File(presets.find(index).path));
    notifyListeners(-1);
}

bool BasePlugInProcessor::importFromPresetFile(const juce::File& file)
{
    const std::unique_ptr<juce::XmlElement> root = SafeXml::parse(file);
    std::vector<PresetFile::Parameter> values;
    if (root == nullptr || !PresetFile::readParameters(*root, values))
        return false;
    for (const PresetFile::Parameter& parameter : values)
        importParameter(parameter);
    processor->effectuateParameterChanges();
    if (juce::XmlElement* const customData = PresetFile::findCustomData(*root))
        parseCustomDataXmlElement(customData);
    notifyListeners(-1);
    setCurrentPresetName(file.getFileNameWithoutExtension());
    return true;
}

void BasePlugInProcessor::importParameter(const PresetFile::Parameter& parameter)
{
    if (excludedParameterIds.contains(parameter.id))
        return;
    try
    {
        processor->setParameterValue(parameter.id, static_cast<float>(parameter.value), false);
    }
    catch (const std::out_of_range&)
    {
        return; // of a later version, perhaps
    }
    notifyInternalParameterChange(parameter.id);
}

bool BasePlugInProcessor::exportToPresetFile(const juce::File& file)
{
    std::vector<PresetFile::Parameter> values;
    for (const auto& parameter : parameters)
        values.push_back({parameter->getInternalId(), parameter->getUnit(),
                          static_cast<double>(parameter->getNaturalValue()), parameter->getName()});
    const juce::XmlElement root = PresetFile::make(values, [this](juce::XmlElement& element)
                                                   { fillCustomDataXmlElement(&element); });
    if (!PresetFile::write(root, file))
        return false;
    setCurrentPresetName(file.getFileNameWithoutExtension());
    return true;
}
