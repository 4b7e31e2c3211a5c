#include "tests/tools/kalim/RunningProgram.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <spawn.h>
#include <stdexcept>
#include <thread>

extern char**
    environ; // NOLINT(readability-redundant-declaration): no header declares it everywhere

namespace kalim::program::test
{
namespace
{

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string contentsOf(std::FILE* file)
{
    std::rewind(file);
    std::string text;
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof(buffer), file))
        text.append(buffer, count);
    return text;
}

using Words = std::vector<std::string>;

Words join(Words first, const Words& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Starts the program that the first word names.
pid_t start(Words words, int outputDescriptor, int errorDescriptor)
{
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outputDescriptor, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errorDescriptor, STDERR_FILENO);
    pid_t process = 0;
    const int status =
        posix_spawn(&process, pointers.front(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0)
        throw std::runtime_error("the program cannot be started");
    return process;
}

RunResult run(const Words& words)
{
    const File output(std::tmpfile(), std::fclose);
    const File errors(std::tmpfile(), std::fclose);
    const pid_t process = start(words, fileno(output.get()), fileno(errors.get()));
    int status = 0;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentsOf(output.get()),
            contentsOf(errors.get())};
}

} // namespace

RunResult runKalim(const std::vector<std::string>& arguments)
{
    return run(join({KALIM_PROGRAM}, arguments));
}

RunResult runCopy(const std::filesystem::path& program, const std::filesystem::path& home,
                  const std::vector<std::string>& arguments)
{
    return run(join({"/usr/bin/env", "HOME=" + home.string(), program.string()}, arguments));
}

bool runAndKill(const std::vector<std::string>& arguments, int signalNumber, int milliseconds)
{
    const File silent(std::tmpfile(), std::fclose);
    const pid_t process =
        start(join({KALIM_PROGRAM}, arguments), fileno(silent.get()), fileno(silent.get()));
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

} // namespace kalim::program::test
