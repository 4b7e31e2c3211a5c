#include "tests/kalim/RunningProgram.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <thread>

namespace kalim::test
{
namespace
{

using Words = std::vector<std::string>;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string contentsOf(std::FILE* file)
{
    std::rewind(file);
    std::string text;
    for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file))
        text += static_cast<char>(byte);
    return text;
}

/// Starts the program that the first word names.
pid_t start(Words words, const Words& arguments, const File& output, const File& errors)
{
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
    if (process < 0)
        throw std::runtime_error("the program cannot be started");
    return process;
}

RunResult run(const Words& words, const Words& arguments)
{
    const File output(std::tmpfile(), std::fclose);
    const File errors(std::tmpfile(), std::fclose);
    int status = 0;
    waitpid(start(words, arguments, output, errors), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentsOf(output.get()),
            contentsOf(errors.get())};
}

} // namespace

RunResult runKalim(const Words& arguments)
{
    return run({KALIM_PROGRAM}, arguments);
}

RunResult runCopy(const std::filesystem::path& program, const std::filesystem::path& home,
                  const Words& arguments)
{
    return run({"/usr/bin/env", "HOME=" + home.string(), program.string()}, arguments);
}

bool runAndKill(const Words& arguments, int signalNumber, int milliseconds)
{
    const File silent(std::tmpfile(), std::fclose);
    const pid_t process = start({KALIM_PROGRAM}, arguments, silent, silent);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(process, signalNumber);
    int status = 0;
    waitpid(process, &status, 0);
    return WIFSIGNALED(status);
}

std::string exampleRecording()
{
    return std::string(KALIM_EXAMPLES) + "/guit_em9.flac";
}

} // namespace kalim::test
