#include "plugin/SettingsFile.h"
#include "tests/fuzz/Input.h"

#include <string_view>

namespace
{

/// A folder in memory where there is one, for thousands of files a second.
juce::File makeFolder()
{
    const juce::File memory("/dev/shm");
    const juce::File parent = memory.hasWriteAccess()
                                  ? memory
                                  : juce::File::getSpecialLocation(juce::File::tempDirectory);
    return parent.getChildFile("kalim-fuzz-" + juce::String(getpid()));
}

} // namespace

/// The bytes as XML, and as the file of the window's settings beside a plug-in: both end, and what
/// was kept can be saved.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kalim::plugin;
    if (const auto root = parseSafely({reinterpret_cast<const char*>(data), size}))
        root->toString();
    static const juce::File folder = makeFolder();
    folder.createDirectory();
    folder.getChildFile("Fuzz.prop").replaceWithData(data, size);
    {
        const auto properties = openSettingsFile("Fuzz", folder);
        reloadSettingsFile(*properties);
        properties->setValue("added", 1);
        properties->saveIfNeeded();
    }
    folder.deleteRecursively();
    return 0;
}
