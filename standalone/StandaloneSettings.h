#pragma once

#include <juce_data_structures/juce_data_structures.h>
#include <juce_graphics/juce_graphics.h>
#include <memory>
#include <optional>

namespace kalim::standalone
{

/// What the stand-alone program remembers. Its file may hold anything: what cannot be meant is as
/// good as not there. Changes are written after some seconds, and at the end of the object's life.
/// Message thread.
class StandaloneSettings
{
public:
    /// The file is in the user's own folders, or beside the program if there is one.
    explicit StandaloneSettings(const juce::File& folderOfBinary);
    ~StandaloneSettings();

    const juce::File& getFile() const { return properties->getFile(); }

    /// As AudioDeviceManager describes a device; null when none was chosen.
    std::unique_ptr<juce::XmlElement> getDevice() const;
    void setDevice(const juce::XmlElement* description);

    /// True at first.
    bool isInputMuted() const;
    void setInputMuted(bool isMuted);

    bool isLooping() const;
    void setLooping(bool isLooping);

    /// The processor's state; empty when there is none.
    juce::MemoryBlock getState() const;
    void setState(const juce::MemoryBlock& state);

    /// Where the last file was, or the user's music or home; a folder that exists.
    juce::File getFolder() const;
    void setFolder(const juce::File& folder);

    /// The window's position and the size of the editor in it, as large as somebody wrote them.
    std::optional<juce::Rectangle<int>> getWindow() const;
    void setWindow(juce::Rectangle<int> area);

private:
    std::unique_ptr<juce::PropertiesFile> properties;
};

/// The area, made no larger than a screen and moved so that all of it is seen.
juce::Rectangle<int> limitToScreen(juce::Rectangle<int> area, juce::Rectangle<int> screen);

} // namespace kalim::standalone
