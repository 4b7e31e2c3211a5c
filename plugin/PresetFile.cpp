#include "plugin/PresetFile.h"

namespace PresetFile
{
namespace
{

constexpr int lineLength = 60;

constexpr const char* rootTag = "Preset";
constexpr const char* settingsTag = "ParameterSettings";
constexpr const char* parameterTag = "Parameter";
constexpr const char* customDataTag = "CustomData";

/// The framework's stream does not tell when a full disk takes a part only; the size does.
bool writeAll(const juce::MemoryOutputStream& content, const juce::File& file)
{
    {
        juce::FileOutputStream stream(file);
        if (!stream.openedOk() || !stream.write(content.getData(), content.getDataSize()))
            return false;
        stream.flush();
        if (stream.getStatus().failed())
            return false;
    }
    return file.getSize() == static_cast<juce::int64>(content.getDataSize());
}

} // namespace

bool readParameters(const juce::XmlElement& root, std::vector<Parameter>& parameters)
{
    const juce::XmlElement* const settings = root.getChildByName(settingsTag);
    if (settings == nullptr)
        return false;
    for (const juce::XmlElement* element : settings->getChildIterator())
    {
        Parameter parameter;
        parameter.id = element->getIntAttribute("id", -1);
        parameter.value = element->getDoubleAttribute("value", 0.0);
        if (parameter.id >= 0)
            parameters.push_back(parameter);
    }
    return true;
}

juce::XmlElement* findCustomData(const juce::XmlElement& root)
{
    return root.getChildByName(customDataTag);
}

juce::XmlElement make(const std::vector<Parameter>& parameters,
                      const std::function<void(juce::XmlElement&)>& fillCustomData)
{
    juce::XmlElement root(rootTag);
    juce::XmlElement* const settings = root.createNewChildElement(settingsTag);
    for (const Parameter& parameter : parameters)
    {
        juce::XmlElement* const element = settings->createNewChildElement(parameterTag);
        element->setAttribute("id", parameter.id);
        element->setAttribute("unit", parameter.unit);
        element->setAttribute("value", parameter.value);
        element->setAttribute("name", parameter.name);
    }
    fillCustomData(*root.createNewChildElement(customDataTag));
    return root;
}

bool write(const juce::XmlElement& root, const juce::File& file)
{
    juce::XmlElement::TextFormat format;
    format.customEncoding = "UTF-8";
    format.lineWrapLength = lineLength;
    juce::MemoryOutputStream content;
    root.writeTo(content, format);
    const juce::TemporaryFile temporary(file);
    return writeAll(content, temporary.getFile()) && temporary.overwriteTargetFileWithTemporary();
}

} // namespace PresetFile
