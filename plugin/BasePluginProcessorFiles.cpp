// Where the plug-in meets its files: presets, properties, translations and the manual.

#include "base/FileError.h"
#include "plugin/BasePluginProcessor.h"
#include "plugin/BundleFiles.h"
#include "plugin/KalimConstants.h"
#include "plugin/SettingsFile.h"

#include <filesystem>
#include <stdexcept>

namespace
{

/// How long after a restored state a program change counts as part of the restoring.
constexpr juce::uint32 restoreGuardMilliseconds = 200;

juce::String getResourcesPath()
{
    return kalim::plugin::getResourcesFolder().getFullPathName() + "/";
}

juce::String withoutSpaces(const juce::String& text)
{
    return text.removeCharacters(" ");
}

std::filesystem::path toPath(const juce::File& file)
{
    return file.getFullPathName().toStdString();
}

/// The element for custom data as it stands in a preset file, whose layout it shares.
std::string makeCustomData(const std::function<void(juce::XmlElement*)>& fill)
{
    juce::XmlElement preset("Preset");
    fill(preset.createNewChildElement("CustomData"));
    juce::XmlElement::TextFormat format;
    format.lineWrapLength = 60;
    const juce::String text = preset.toString(format.withoutHeader());
    return text.fromFirstOccurrenceOf("  ", false, false)
        .upToLastOccurrenceOf("\r\n", false, false)
        .upToLastOccurrenceOf("\r\n", false, false)
        .toStdString();
}

} // namespace

std::unique_ptr<juce::PropertiesFile> BasePlugInProcessor::createPropertiesFile() const
{
    const juce::String majorVersion = plugInVersion.upToFirstOccurrenceOf(".", false, false);
    return kalim::plugin::openSettingsFile(
        withoutSpaces(bundleName + majorVersion),
        juce::File::getSpecialLocation(juce::File::currentExecutableFile).getParentDirectory());
}

juce::File BasePlugInProcessor::getTranslationFile(const juce::String& language) const
{
    return juce::File(getResourcesPath() + withoutSpaces(bundleName) + "_" + language + ".loc");
}

juce::String BasePlugInProcessor::findDisplayLanguage() const
{
    // The texts in the program are English.
    return kalim::plugin::getDisplayLanguage(
        [this](const juce::String& code)
        { return code == "en" || getTranslationFile(code).existsAsFile(); });
}

void BasePlugInProcessor::initializeLocalization()
{
    const juce::File file = getTranslationFile(findDisplayLanguage());
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
    numProgramsAtFirst = presets.size();
    const int reset = presets.getResetPresetIndex();
    currentProgram = reset;
    if (reset < presets.size())
        setCurrentPresetName(getProgramName(reset));
    followPreset(reset);
}

void BasePlugInProcessor::updatePresetTree()
{
    presets.update({toPath(factoryPresetFolder), toPath(userPresetFolder)});
    juce::File file;
    {
        const std::lock_guard lock(settingsGuard);
        file = currentPresetFile;
    }
    followPreset(presets.findIndex(toPath(file)));
}

/// Makes the preset with that index the one from which the next and the previous one are counted.
void BasePlugInProcessor::followPreset(int index)
{
    const kalim::Preset preset = presets.find(index);
    if (preset.file.empty())
        return;
    currentProgram = index;
    const std::lock_guard lock(settingsGuard);
    currentPresetFile = juce::File(kalim::plugin::toText(preset.file.native()));
}

void BasePlugInProcessor::receivePresetName(const juce::String& name)
{
    setCurrentPresetName(name);
    // Several presets may share a name.
    if (getProgramName(currentProgram) != name)
        followPreset(presets.findIndex(name));
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
    juce::Process::openDocument(getHelpFilePath(findDisplayLanguage()), {});
}

const juce::String BasePlugInProcessor::getProgramName(int index)
{
    return kalim::plugin::toText(presets.find(index).name);
}

void BasePlugInProcessor::setCurrentProgram(int index)
{
    if (juce::Time::getMillisecondCounter() - lastStateLoadTime < restoreGuardMilliseconds)
        return;
    addUndoState();
    currentProgram = index;
    followPreset(index);
    loadPresetFile(juce::File(kalim::plugin::toText(presets.find(index).file.native())));
    notifyListeners(-1);
}

void BasePlugInProcessor::chooseProgram(int index)
{
    const int before = currentProgram;
    setCurrentProgram(index);
    tellHostOfProgram(before);
}

void BasePlugInProcessor::tellHostOfProgram(int before)
{
    const int program = currentProgram;
    if (program != before && program >= 0 && program < numProgramsAtFirst)
        updateHostDisplay(ChangeDetails().withProgramChanged(true));
}

bool BasePlugInProcessor::importFromPresetFile(const juce::File& file)
{
    const int before = currentProgram;
    const bool isLoaded = loadPresetFile(file);
    if (isLoaded)
        followPreset(presets.findIndex(toPath(file)));
    tellHostOfProgram(before);
    return isLoaded;
}

bool BasePlugInProcessor::loadPresetFile(const juce::File& file)
{
    kalim::PresetContent content;
    try
    {
        content = kalim::readPresetFile(toPath(file));
    }
    catch (const kalim::FileError&)
    {
        return false;
    }
    const auto customData = kalim::plugin::parseSafely(content.customData);
    if (customData == nullptr && !content.customData.empty())
        return false;
    for (const kalim::ParameterValue& parameter : content.values)
        importParameter(parameter);
    processor->effectuateParameterChanges();
    if (customData != nullptr)
        parseCustomDataXmlElement(customData.get());
    notifyListeners(-1);
    setCurrentPresetName(file.getFileNameWithoutExtension());
    return true;
}

void BasePlugInProcessor::importParameter(const kalim::ParameterValue& parameter)
{
    if (excludedParameterIds.contains(parameter.id))
        return;
    try
    {
        processor->setParameterValue(parameter.id, parameter.value, false);
    }
    catch (const std::out_of_range&)
    {
        return; // of a later version, perhaps
    }
    notifyInternalParameterChange(parameter.id);
}

bool BasePlugInProcessor::exportToPresetFile(const juce::File& file)
{
    std::vector<kalim::PresetParameter> values;
    for (const auto& parameter : parameters)
        values.push_back({parameter->getInternalId(), parameter->getUnit().toStdString(),
                          static_cast<double>(parameter->getNaturalValue()),
                          parameter->getName().toStdString()});
    try
    {
        kalim::writePresetFile(toPath(file), values,
                               makeCustomData([this](juce::XmlElement* element)
                                              { fillCustomDataXmlElement(element); }));
    }
    catch (const kalim::FileError&)
    {
        return false;
    }
    const std::lock_guard lock(settingsGuard);
    currentPresetName = file.getFileNameWithoutExtension();
    currentPresetFile = file;
    return true;
}
