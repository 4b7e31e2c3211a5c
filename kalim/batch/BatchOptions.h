#pragma once

#include "kalim/batch/BatchPlan.h"

#include <filesystem>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// Everything that a run over many files is told.
struct BatchOptions
{
    BatchRequest request;
    int numJobs = 1;
    bool isDryRun = false;
    bool keepsGoing = true;
    std::vector<std::filesystem::path> reports;
    std::filesystem::path journal;

    /// All settings that decide what an output holds, in words.
    std::string settings;
};

/// The options of runs over many files as the user spelt them.
struct BatchOptionTexts
{
    std::string outputFolder;
    std::string filesFrom;
    std::string base;
    std::string suffix;
    std::vector<std::string> reports;
    std::string journal;
    std::size_t numJobs = 0; ///< 0 where not given
    bool isRecursive = false;
    bool isDryRun = false;
    bool keepsGoing = true;

    void add(CLI::App& app, const std::string& group);

    bool isGiven() const { return !outputFolder.empty(); }

    /// One that needs an output folder and was given without, empty if there is none.
    std::string findOrphan(const CLI::App& app) const;

    /// With the inputs of the list, without those of the command line, and without settings. Throws
    /// UsageError and FileError.
    BatchOptions parse() const;

    /// What was given on the command line but for what does not change the content of an output.
    static std::string describeSettings(const CLI::App& app);
};

} // namespace kalim::program
