#include "plugin/UndoHistory.h"

void UndoHistory::addState(const juce::MemoryBlock& present)
{
    const std::lock_guard lock(guard);
    undoStates.push_front(std::make_shared<const juce::MemoryBlock>(present));
    redoStates.clear();
}

bool UndoHistory::canUndo() const
{
    const std::lock_guard lock(guard);
    return !undoStates.empty();
}

bool UndoHistory::canRedo() const
{
    const std::lock_guard lock(guard);
    return !redoStates.empty();
}

void UndoHistory::undo(const juce::MemoryBlock& present, const Load& load)
{
    step(undoStates, redoStates, present, load);
}

void UndoHistory::redo(const juce::MemoryBlock& present, const Load& load)
{
    step(redoStates, undoStates, present, load);
}

void UndoHistory::step(States& from, States& to, const juce::MemoryBlock& present, const Load& load)
{
    State state;
    {
        const std::lock_guard lock(guard);
        if (from.empty())
            return;
        to.push_front(std::make_shared<const juce::MemoryBlock>(present));
        state = from.front();
    }
    // Without the lock, for whoever is told of the loaded settings may ask what can be undone.
    load(*state);
    const std::lock_guard lock(guard);
    std::erase(from, state);
}
