#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
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

inline std::string contentsOf(std::FILE* file)
{
    std::string text(1U << 20U, '\0');
    text.resize(static_cast<std::size_t>(pread(fileno(file), text.data(), text.size(), 0)));
    return text;
}

/// Runs a program by these words and arguments, without a shell, gives it a signal after some
/// milliseconds if there is one to give, and waits for its end.
inline RunResult runKalim(const std::vector<std::string>& arguments,
                          std::vector<std::string> words = {KALIM_PROGRAM}, int signalNumber = 0,
                          int milliseconds = 0)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(std::tmpfile(), std::fclose);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> errors(std::tmpfile(), std::fclose);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0)
    {
        dup2(fileno(output.get()), STDOUT_FILENO);
        dup2(fileno(errors.get()), STDERR_FILENO);
        execv(pointers.front(), pointers.data());
        _exit(127);
    }
    usleep(static_cast<useconds_t>(1000 * milliseconds));
    if (process > 0 && signalNumber != 0)
        kill(process, signalNumber);
    int status = -1;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentsOf(output.get()),
            contentsOf(errors.get())};
}

/// Path of a recording that comes with the project.
inline std::string exampleRecording()
{
    return std::string(KALIM_EXAMPLES) + "/guit_em9.flac";
}

} // namespace kalim::test
