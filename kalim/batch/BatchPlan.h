#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kalim::program
{

/// What a run over many files was asked for.
struct BatchRequest
{
    std::vector<std::filesystem::path> inputs; ///< files and folders
    std::filesystem::path outputFolder;
    std::filesystem::path base; ///< outputs keep the places that inputs have below it, unless empty
    bool isRecursive = false;   ///< also the folders in folders
    std::string suffix;         ///< follows the name of every output
    std::string extension;      ///< of every output, without the dot; empty for that of its input
};

/// One file to clean.
struct BatchItem
{
    std::filesystem::path input;
    std::filesystem::path output;
    std::uintmax_t size = 0; ///< of the input in bytes
    std::string modified;    ///< when the input was changed last, in UTC to the nanosecond
};

struct BatchPlan
{
    std::vector<BatchItem> items;

    /// Files in folders whose names are not those of sound.
    int numLeftOut = 0;

    /// Folders and files that could not be looked at, one line each.
    std::vector<std::string> problems;
};

/// Lists what there is to do, sorted by name. A file that is named goes to the output folder; those
/// of a folder keep their places in its tree. Of folders only files with the endings of sound are
/// taken, and nothing that lies in the output folder. Throws UsageError when two inputs would have
/// one output, an input would be its own, or does not lie below the base.
BatchPlan planBatch(const BatchRequest& request);

} // namespace kalim::program
