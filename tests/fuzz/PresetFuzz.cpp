#include "base/FileError.h"
#include "presets/PresetFile.h"
#include "tests/fuzz/Input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const kalim::fuzz::Input input(data, size);
    try
    {
        kalim::readPresetFile(input.getPath());
    }
    catch (const kalim::FileError&)
    {
        // The usual end.
    }
    return 0;
}
