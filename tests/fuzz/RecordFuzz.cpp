#include "plugin/KalimConstants.h"
#include "plugin/SettingsRecord.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace
{

using namespace kalim::plugin;

class Collector : public SettingsReceiver
{
public:
    bool receiveEntry(const SettingsEntry& entry) override
    {
        constexpr int mostIds = 1000;
        content.entries.push_back(entry);
        return entry.id < mostIds;
    }

    void entriesReceived() override {}

    void receivePresetName(const juce::String& name) override { content.presetName = name; }

    SettingsContent content{KalimConstants::plugInCode, 1, {}, {}};
};

} // namespace

/// What a host hands back. What was understood of it is understood in the same way once it was
/// written anew.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    juce::MemoryInputStream stream(data, size, false);
    Collector first;
    if (!readSettingsRecord(stream, KalimConstants::plugInCode, first) ||
        first.content.entries.empty())
        return 0;
    juce::MemoryOutputStream written;
    writeSettingsRecord(written, first.content);
    juce::MemoryInputStream again(written.getData(), written.getDataSize(), false);
    Collector second;
    if (!readSettingsRecord(again, KalimConstants::plugInCode, second) ||
        second.content.entries.size() != first.content.entries.size() ||
        second.content.presetName != first.content.presetName)
        std::abort();
    return 0;
}
