#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace kalim
{

/// A file that could not be read or written; what() is the single line "PATH: reason",
/// without the path if that is empty.
class FileError : public std::runtime_error
{
public:
    /// The reason is a phrase for a person, without a full stop.
    FileError(const std::filesystem::path& path, const std::string& reason);

    /// The reason is the system's text for an error number.
    FileError(const std::filesystem::path& path, int errorNumber);
};

/// A path as text on one line: control characters are shown as escapes such as \n or \x1b.
std::string printable(const std::filesystem::path& path);

} // namespace kalim
