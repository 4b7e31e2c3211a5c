#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kalim::standalone
{

/// What the user wants of the program, from its arguments.
struct CommandLine
{
    /// The file to open, as it was given.
    std::optional<std::string> file;

    /// When there is anything to print instead of a window: the text, to be printed on standard
    /// error unless the exit code is 0.
    std::optional<std::string> message;
    int exitCode = 0;

    /// The arguments are those after the program's name.
    static CommandLine parse(const std::vector<std::string>& arguments);
};

} // namespace kalim::standalone
