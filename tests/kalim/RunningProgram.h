#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kalim::test
{

/// What a run of the program left behind.
struct RunResult
{
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs the built program with these arguments, without a shell, and waits for its end.
RunResult runKalim(const std::vector<std::string>& arguments);

/// The same with another copy of the program, and with that home folder.
RunResult runCopy(const std::filesystem::path& program, const std::filesystem::path& home,
                  const std::vector<std::string>& arguments);

/// Runs the built program, but kills it after some milliseconds. Returns whether it was still
/// running then.
bool runAndKill(const std::vector<std::string>& arguments, int signalNumber, int milliseconds);

/// Path of a recording that comes with the project.
std::string exampleRecording();

} // namespace kalim::test
