#include "standalone/StandaloneSettings.h"

#include "plugin/SettingsFile.h"

#include <algorithm>

namespace kalim::standalone
{
namespace
{

constexpr const char* applicationName = "KalimStandalone";

constexpr const char* deviceKey = "AudioDevice";
constexpr const char* inputMutedKey = "InputMuted";
constexpr const char* loopingKey = "Looping";
constexpr const char* stateKey = "State";
constexpr const char* folderKey = "Folder";
constexpr const char* windowKeys[] = {"WindowX", "WindowY", "EditorWidth", "EditorHeight"};

/// No coordinate is anywhere near, and sums of some of them are still numbers.
constexpr int coordinateLimit = 100000;

} // namespace

StandaloneSettings::StandaloneSettings(const juce::File& folderOfBinary)
    : properties(kalim::plugin::openSettingsFile(applicationName, folderOfBinary))
{
}

StandaloneSettings::~StandaloneSettings()
{
    properties->saveIfNeeded();
}

std::unique_ptr<juce::XmlElement> StandaloneSettings::getDevice() const
{
    return properties->getXmlValue(deviceKey);
}

void StandaloneSettings::setDevice(const juce::XmlElement* description)
{
    // A device list that is empty for now is no reason to forget the device that was chosen.
    if (description != nullptr)
        properties->setValue(deviceKey, description);
}

bool StandaloneSettings::isInputMuted() const
{
    return properties->getBoolValue(inputMutedKey, true);
}

void StandaloneSettings::setInputMuted(bool isMuted)
{
    properties->setValue(inputMutedKey, isMuted);
}

bool StandaloneSettings::isLooping() const
{
    return properties->getBoolValue(loopingKey, false);
}

void StandaloneSettings::setLooping(bool isLooping)
{
    properties->setValue(loopingKey, isLooping);
}

juce::MemoryBlock StandaloneSettings::getState() const
{
    // Not the framework's own encoding, which believes the size that stands in front.
    juce::MemoryBlock state;
    juce::MemoryOutputStream stream(state, false);
    if (!juce::Base64::convertFromBase64(stream, properties->getValue(stateKey)))
        return {};
    stream.flush();
    return state;
}

void StandaloneSettings::setState(const juce::MemoryBlock& state)
{
    properties->setValue(stateKey, juce::Base64::toBase64(state.getData(), state.getSize()));
}

juce::File StandaloneSettings::getFolder() const
{
    const juce::String path = properties->getValue(folderKey);
    if (juce::File::isAbsolutePath(path) && juce::File(path).isDirectory())
        return juce::File(path);
    const auto music = juce::File::getSpecialLocation(juce::File::userMusicDirectory);
    return music.isDirectory() ? music
                               : juce::File::getSpecialLocation(juce::File::userHomeDirectory);
}

void StandaloneSettings::setFolder(const juce::File& folder)
{
    properties->setValue(folderKey, folder.getFullPathName());
}

std::optional<juce::Rectangle<int>> StandaloneSettings::getWindow() const
{
    int numbers[4] = {};
    for (int index = 0; index < 4; ++index)
    {
        if (!properties->containsKey(windowKeys[index]))
            return std::nullopt;
        numbers[index] = std::clamp(properties->getIntValue(windowKeys[index]), -coordinateLimit,
                                    coordinateLimit);
    }
    if (numbers[2] <= 0 || numbers[3] <= 0)
        return std::nullopt;
    return juce::Rectangle<int>(numbers[0], numbers[1], numbers[2], numbers[3]);
}

void StandaloneSettings::setWindow(juce::Rectangle<int> area)
{
    const int numbers[] = {area.getX(), area.getY(), area.getWidth(), area.getHeight()};
    for (int index = 0; index < 4; ++index)
        properties->setValue(windowKeys[index], numbers[index]);
}

juce::Rectangle<int> limitToScreen(juce::Rectangle<int> area, juce::Rectangle<int> screen)
{
    return area
        .withSize(std::min(area.getWidth(), screen.getWidth()),
                  std::min(area.getHeight(), screen.getHeight()))
        .constrainedWithin(screen);
}

} // namespace kalim::standalone
