#pragma once

#include <deque>
#include <juce_core/juce_core.h>
#include <mutex>
#include <optional>

/// Earlier and later settings, as records. Hosts and the editor may reach it from different
/// threads; not for the audio thread.
class UndoHistory
{
public:
    /// Remembers `present` before it is changed. What was undone before can no longer be redone.
    void addState(const juce::MemoryBlock& present);

    bool canUndo() const;
    bool canRedo() const;

    /// The settings to go back to, or nothing; `present` can then be redone.
    std::optional<juce::MemoryBlock> undo(const juce::MemoryBlock& present);

    /// The settings that were undone last, or nothing; `present` can then be undone.
    std::optional<juce::MemoryBlock> redo(const juce::MemoryBlock& present);

private:
    using States = std::deque<juce::MemoryBlock>; // the most recent first

    std::optional<juce::MemoryBlock> step(States& from, States& to,
                                          const juce::MemoryBlock& present);

    mutable std::mutex guard;
    States undoStates;
    States redoStates;
};
