#include "base/FileError.h"

#include <fmt/format.h>

#include <system_error>

namespace kalim
{
namespace
{

std::string escaped(char character)
{
    switch (character)
    {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return fmt::format("\\x{:02x}", static_cast<unsigned char>(character));
    }
}

bool isControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

} // namespace

std::string printable(const std::filesystem::path& path)
{
    std::string text;
    for (const char character : path.native())
    {
        if (isControl(character))
            text += escaped(character);
        else
            text += character;
    }
    return text;
}

FileError::FileError(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(path.empty() ? reason : printable(path) + ": " + reason)
{
}

FileError::FileError(const std::filesystem::path& path, int errorNumber)
    : FileError(path, std::generic_category().message(errorNumber))
{
}

} // namespace kalim
