#include "plugin/UndoHistory.h"

#include <utility>

void UndoHistory::addState(const juce::MemoryBlock& present)
{
    const std::lock_guard lock(guard);
    undoStates.push_front(present);
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

std::optional<juce::MemoryBlock> UndoHistory::undo(const juce::MemoryBlock& present)
{
    return step(undoStates, redoStates, present);
}

std::optional<juce::MemoryBlock> UndoHistory::redo(const juce::MemoryBlock& present)
{
    return step(redoStates, undoStates, present);
}

std::optional<juce::MemoryBlock> UndoHistory::step(States& from, States& to,
                                                   const juce::MemoryBlock& present)
{
    const std::lock_guard lock(guard);
    if (from.empty())
        return std::nullopt;
    to.push_front(present);
    juce::MemoryBlock state = std::move(from.front());
    from.pop_front();
    return state;
}
