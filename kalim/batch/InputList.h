#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kalim::program
{

/// One file of sound.
struct InputFile
{
    std::filesystem::path path;

    /// Where it lies in the folder that was named, the name alone for a file that was.
    std::filesystem::path place;
    std::uintmax_t size = 0; ///< in bytes
    std::string modified;    ///< when it was changed last, in UTC to the nanosecond
};

struct InputList
{
    std::vector<InputFile> files;

    /// Files in folders whose names are not those of sound.
    int numLeftOut = 0;

    /// Folders and files that could not be looked at, one line each.
    std::vector<std::string> problems;
};

/// Which files there are, those of a folder sorted by name; with `isRecursive` also those of its
/// folders. A file that is named is taken as it is, of folders only those with the endings of
/// sound are, and nothing that lies in `leftOut`, if that is not empty.
InputList listInputs(const std::vector<std::filesystem::path>& inputs, bool isRecursive,
                     const std::filesystem::path& leftOut = {});

} // namespace kalim::program
