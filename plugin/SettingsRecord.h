#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <juce_core/juce_core.h>
#include <memory>
#include <mutex>
#include <vector>

namespace kalim::plugin
{

/// A parameter's id in the processor and its value in its natural unit.
struct SettingsEntry
{
    int id = 0;
    float value = 0.0F;
};

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
struct SettingsContent
{
    std::uint32_t plugInCode = 0;
    int versionCode = 0;
    std::vector<SettingsEntry> entries;
    juce::String presetName;
};

/// Takes what a record says, while it is being read.
class SettingsReceiver
{
public:
    virtual ~SettingsReceiver() = default;

    /// Returns false for an id that it does not know, which ends the reading.
    virtual bool receiveEntry(const SettingsEntry& entry) = 0;

    /// After the last entry.
    virtual void entriesReceived() = 0;

    virtual void receivePresetName(const juce::String& name) = 0;
};

void writeSettingsRecord(juce::OutputStream& stream, const SettingsContent& content);

/// Reads a record. Returns false, having told the receiver nothing, when it is too short or from
/// another plug-in, and false after an unknown id, with the entries before it received. A record
/// without a name, as older versions wrote it, is complete. Nothing is allocated by a number that
/// is read.
bool readSettingsRecord(juce::InputStream& stream, std::uint32_t plugInCode,
                        SettingsReceiver& receiver);

/// Earlier and later settings, as records. Hosts and the editor may reach it from different
/// threads; not for the audio thread.
class UndoHistory
{
public:
    /// Makes a remembered record the present settings; may itself use the history.
    using Load = std::function<void(const juce::MemoryBlock& state)>;

    /// Remembers `present` before it is changed. What was undone before can no longer be redone.
    void addState(const juce::MemoryBlock& present);

    /// Takes the last addition back if it equals `present` and nothing was undone or redone since:
    /// what could be redone before it can be again.
    void removeStateIfEqual(const juce::MemoryBlock& present);

    /// The one becomes the other.
    void exchangeWith(UndoHistory& other);

    bool canUndo() const;
    bool canRedo() const;

    /// Loads the settings to go back to, if there are any; `present` can then be redone.
    void undo(const juce::MemoryBlock& present, const Load& load);

    /// Loads the settings that were undone last, if there are any; `present` can then be undone.
    void redo(const juce::MemoryBlock& present, const Load& load);

private:
    using State = std::shared_ptr<const juce::MemoryBlock>;
    using States = std::deque<State>; // the most recent first

    void step(States& from, States& to, const juce::MemoryBlock& present, const Load& load);

    mutable std::mutex guard;
    States undoStates;
    States redoStates;

    /// The last addition, null where it cannot be taken back, and what could be redone before.
    State lastAddition;
    States redoneBeforeAddition;
};

} // namespace kalim::plugin
