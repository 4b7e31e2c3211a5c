#include "base/FileError.h"
#include "kalim/Cleaning.h"
#include "tests/fuzz/Input.h"

#include <unistd.h>

/// A whole run of the program over the bytes, with the format of the output chosen by the first of
/// them. What is salvaged is what a second run finds whole.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kalim;
    constexpr std::size_t mostBytes = 1 << 16;
    if (size < 2 || size > mostBytes)
        return 0;
    const fuzz::Input input(data + 1, size - 1);
    static const auto folder = std::filesystem::temp_directory_path();
    constexpr const char* endings[] = {".wav", ".flac", ".aiff", ".caf", ".w64", ".ogg", ".rf64"};
    program::Options options;
    options.input = input.getPath();
    options.output =
        folder / ("kalim-fuzz-" + std::to_string(getpid()) + endings[data[0] % std::size(endings)]);
    options.isQuiet = true;
    options.overwrites = true;
    options.overwritesAnything = true;
    options.salvages = (data[0] & 0x80U) != 0;
    options.method = program::Method::tracking;
    try
    {
        program::clean(options);
    }
    catch (const std::runtime_error&)
    {
        // The usual end: the file or the format is refused.
    }
    std::filesystem::remove(options.output);
    return 0;
}
