#pragma once

#include "tests/audiofile/AudioFiles.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace kalim::test
{

/// What a run of a program left behind; the exit code is -1 where it was killed.
struct RunResult
{
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs a program by these words and arguments, without a shell, gives it a signal after some
/// milliseconds if there is one to give, and waits for its end.
inline RunResult runKalim(const std::vector<std::string>& arguments,
                          std::vector<std::string> words = {KALIM_PROGRAM}, int signalNumber = 0,
                          int milliseconds = 0)
{
    const FileDescriptor output(memfd_create("output", 0));
    const FileDescriptor errors(memfd_create("errors", 0));
    const auto textIn = [](const FileDescriptor& file)
    { return contentsOf("/proc/self/fd/" + std::to_string(file.get())); };
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0)
    {
        dup2(output.get(), STDOUT_FILENO);
        dup2(errors.get(), STDERR_FILENO);
        execv(pointers.front(), pointers.data());
        _exit(127);
    }
    usleep(static_cast<useconds_t>(1000 * milliseconds));
    if (process > 0 && signalNumber != 0)
        kill(process, signalNumber);
    int status = -1;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, textIn(output), textIn(errors)};
}

/// Path of a recording that comes with the project.
inline std::string exampleRecording()
{
    return std::string(KALIM_EXAMPLES) + "/guit_em9.flac";
}

} // namespace kalim::test
