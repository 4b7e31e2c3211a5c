#pragma once

#include <cstdint>
#include <juce_core/juce_core.h>
#include <vector>

/// The binary record of all settings: what a host stores with a project, what undo, redo and the
/// A/B slots keep. All integers are little-endian.
///
/// | offset  | size | field                                                              |
/// |---------|------|--------------------------------------------------------------------|
/// | 0       | 4    | "OVRO"                                                             |
/// | 4       | 4    | the plug-in's code                                                 |
/// | 8       | 4    | its version; records of any version are read                       |
/// | 12      | 4    | n, the number of entries                                           |
/// | 16      | 8 n  | entries: parameter id (32-bit) and natural value (float)           |
/// | 16 + 8n | 8    | a marker, then the preset's name as UTF-8 up to a terminating zero |
namespace SettingsRecord
{

struct Entry
{
    int id = 0;
    float value = 0.0F;
};

struct Content
{
    std::uint32_t plugInCode = 0;
    int versionCode = 0;
    std::vector<Entry> entries;
    juce::String presetName;
};

/// Takes what a record says, while it is being read.
class Receiver
{
public:
    virtual ~Receiver() = default;

    /// Returns false for an id that it does not know, which ends the reading.
    virtual bool receiveEntry(const Entry& entry) = 0;

    /// After the last entry.
    virtual void entriesReceived() = 0;

    virtual void receivePresetName(const juce::String& name) = 0;
};

void write(juce::OutputStream& stream, const Content& content);

/// Reads a record. Returns false, having told the receiver nothing, when it is too short or from
/// another plug-in, and false after an unknown id, with the entries before it received. A record
/// without a name, as older versions wrote it, is complete. Nothing is allocated by a number that
/// is read.
bool read(juce::InputStream& stream, std::uint32_t plugInCode, Receiver& receiver);

} // namespace SettingsRecord
