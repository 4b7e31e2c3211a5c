#include "base/FileError.h"

#include <system_error>

namespace kalim
{
namespace
{

bool isControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

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
        constexpr auto digits = "0123456789abcdef";
        return {'\\', 'x', digits[character / 16], digits[character % 16]};
    }
}

} // namespace

FileError::FileError(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(path.empty() ? reason : printable(path) + ": " + reason)
{
}

FileError::FileError(const std::filesystem::path& path, int errorNumber)
    : FileError(path, std::generic_category().message(errorNumber))
{
}

std::string printable(const std::filesystem::path& path)
{
    std::string text;
    for (const char character : path.native())
        text += isControl(character) ? escaped(character) : std::string(1, character);
    return text;
}

} // namespace kalim
