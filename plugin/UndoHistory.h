#pragma once

#include <deque>
#include <functional>
#include <juce_core/juce_core.h>
#include <memory>
#include <mutex>

/// Earlier and later settings, as records. Hosts and the editor may reach it from different
/// threads; not for the audio thread.
class UndoHistory
{
public:
    /// Makes a remembered record the present settings; may itself use the history.
    using Load = std::function<void(const juce::MemoryBlock& state)>;

    /// Remembers `present` before it is changed. What was undone before can no longer be redone.
    void addState(const juce::MemoryBlock& present);

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
};
