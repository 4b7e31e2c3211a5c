#include "plugin/SettingsRecord.h"

#include <array>
#include <utility>

namespace kalim::plugin
{
namespace
{

constexpr std::array<char, 4> magic{'O', 'V', 'R', 'O'};
constexpr juce::int64 headerSize = 16;
constexpr juce::int64 entrySize = 8;
constexpr juce::int64 markerSize = 8;
constexpr auto marker = static_cast<juce::int64>(0x8704AF4A0943473EULL);

/// Whether the record can hold the entries that it promises. The test is laxer than the layout by
/// 12 bytes, and stays so, so that the same records load as ever; what is missing reads as zeros.
bool holdsEntries(juce::int64 length, int numEntries)
{
    constexpr juce::int64 slack = 4;
    return numEntries >= 1 && length >= entrySize * numEntries + slack;
}

/// A damaged record may hold bytes that are no text, which the framework's text code would read
/// beyond their end.
juce::String toValidText(const juce::String& text)
{
    const char* const bytes = text.toRawUTF8();
    const int size = static_cast<int>(text.getNumBytesAsUTF8());
    if (juce::CharPointer_UTF8::isValidString(bytes, size))
        return text;
    return juce::String::createStringFromData(bytes, size);
}

void readPresetName(juce::InputStream& stream, SettingsReceiver& receiver)
{
    if (stream.getPosition() + markerSize >= stream.getTotalLength())
        return;
    if (stream.readInt64() == marker)
        receiver.receivePresetName(toValidText(stream.readString()));
    else
        stream.setPosition(stream.getPosition() - markerSize);
}

} // namespace

void writeSettingsRecord(juce::OutputStream& stream, const SettingsContent& content)
{
    stream.write(magic.data(), magic.size());
    stream.writeInt(static_cast<int>(content.plugInCode));
    stream.writeInt(content.versionCode);
    stream.writeInt(static_cast<int>(content.entries.size()));
    for (const SettingsEntry& entry : content.entries)
    {
        stream.writeInt(entry.id);
        stream.writeFloat(entry.value);
    }
    stream.writeInt64(marker);
    stream.writeString(content.presetName);
}

bool readSettingsRecord(juce::InputStream& stream, std::uint32_t plugInCode,
                        SettingsReceiver& receiver)
{
    const juce::int64 length = stream.getTotalLength();
    if (length < headerSize)
        return false;
    std::array<char, magic.size()> foundMagic{};
    stream.read(foundMagic.data(), static_cast<int>(foundMagic.size()));
    const auto foundCode = static_cast<std::uint32_t>(stream.readInt());
    stream.readInt(); // the version, which makes no difference so far
    if (foundMagic != magic || foundCode != plugInCode)
        return false;

    const int numEntries = stream.readInt();
    for (int i = 0; holdsEntries(length, numEntries) && i < numEntries; ++i)
    {
        const int id = stream.readInt();
        const float value = stream.readFloat();
        if (!receiver.receiveEntry({id, value}))
            return false;
    }
    receiver.entriesReceived();
    readPresetName(stream, receiver);
    return true;
}

void UndoHistory::addState(const juce::MemoryBlock& present)
{
    const std::lock_guard lock(guard);
    lastAddition = std::make_shared<const juce::MemoryBlock>(present);
    undoStates.push_front(lastAddition);
    redoneBeforeAddition = std::exchange(redoStates, {});
}

void UndoHistory::removeStateIfEqual(const juce::MemoryBlock& present)
{
    const std::lock_guard lock(guard);
    const State state = std::exchange(lastAddition, nullptr);
    States redone = std::exchange(redoneBeforeAddition, {});
    if (state == nullptr || *state != present)
        return;
    undoStates.pop_front();
    redoStates = std::move(redone);
}

void UndoHistory::exchangeWith(UndoHistory& other)
{
    const std::scoped_lock lock(guard, other.guard);
    undoStates.swap(other.undoStates);
    redoStates.swap(other.redoStates);
    lastAddition.swap(other.lastAddition);
    redoneBeforeAddition.swap(other.redoneBeforeAddition);
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
        lastAddition = nullptr;
        redoneBeforeAddition.clear();
        to.push_front(std::make_shared<const juce::MemoryBlock>(present));
        state = from.front();
    }
    // Without the lock, for whoever is told of the loaded settings may ask what can be undone.
    load(*state);
    const std::lock_guard lock(guard);
    std::erase(from, state);
}

} // namespace kalim::plugin
