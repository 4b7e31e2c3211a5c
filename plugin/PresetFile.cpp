#include "plugin/PresetFile.h"

#include <memory>

namespace PresetFile
{
namespace
{

constexpr juce::int64 largestFile = 1 << 20;
constexpr int deepestNesting = 64;
constexpr int lineLength = 60;

constexpr const char* rootTag = "Preset";
constexpr const char* settingsTag = "ParameterSettings";
constexpr const char* parameterTag = "Parameter";
constexpr const char* customDataTag = "CustomData";

/// Upper limit of the nesting, counted without parsing: the parser is recursive, so it must not be
/// asked.
bool isNestedTooDeep(const juce::String& text)
{
    int depth = 0;
    juce::juce_wchar previous = 0;
    for (auto position = text.getCharPointer(); !position.isEmpty();)
    {
        const juce::juce_wchar character = position.getAndAdvance();
        const juce::juce_wchar next = *position;
        if (character == '<' && next != '/' && next != '!' && next != '?')
            ++depth;
        else if ((character == '<' && next == '/') || (character == '>' && previous == '/'))
            --depth;
        if (depth > deepestNesting)
            return true;
        previous = character;
    }
    return false;
}

} // namespace

std::unique_ptr<juce::XmlElement> parse(const juce::File& file)
{
    // Devices and pipes exist, but have no size of their own, and reading them need not end.
    if (!file.existsAsFile() || file.getSize() < 1 || file.getSize() > largestFile)
        return nullptr;
    juce::MemoryBlock bytes;
    if (!file.loadFileAsData(bytes))
        return nullptr;
    const auto* const begin = static_cast<const char*>(bytes.getData());
    const int size = static_cast<int>(bytes.getSize());
    if (!juce::CharPointer_UTF8::isValidString(begin, size))
        return nullptr;
    const juce::String text = juce::String::fromUTF8(begin, size);
    if (text.contains("<!DOCTYPE") || text.contains("<!ENTITY") || isNestedTooDeep(text))
        return nullptr;
    return juce::parseXML(text);
}

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
    const juce::TemporaryFile temporary(file);
    return root.writeTo(temporary.getFile(), format) &&
           temporary.overwriteTargetFileWithTemporary();
}

} // namespace PresetFile
