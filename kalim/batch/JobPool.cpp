#include "kalim/batch/JobPool.h"

#include <fmt/format.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

namespace kalim::program
{
namespace
{

[[noreturn]] void throwSystemError(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// In the new process: nothing of the old one is cleaned up or flushed here.
[[noreturn]] void runAndLeave(const JobPool::Work& work, int results, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(1);
    const std::string text = work();
    const int error = writeBytes(results, std::as_bytes(std::span(text)));
    _exit(error == 0 ? 0 : 1);
}

std::string describeEnd(int status)
{
    if (WIFSIGNALED(status))
        return fmt::format("the work ended by signal {} ({})", WTERMSIG(status),
                           strsignal(WTERMSIG(status)));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "" : "the work ended without a result";
}

} // namespace

int chooseNumJobs(std::size_t asked)
{
    return static_cast<int>(
        asked > 0 ? asked : std::max<std::size_t>(std::thread::hardware_concurrency(), 1));
}

JobPool::JobPool(int mostAtOnce)
    : most(static_cast<std::size_t>(std::max(mostAtOnce, 1)))
{
}

JobPool::~JobPool()
{
    for (const Job& job : jobs)
        kill(job.process, SIGTERM);
    for (const Job& job : jobs)
        waitpid(job.process, nullptr, 0);
}

void JobPool::start(const Work& work, Finished finished)
{
    while (jobs.size() >= most)
        waitForOne();
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        throwSystemError("pipe");
    FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    // What is in the buffers would be written by both processes.
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0)
        throwSystemError("fork");
    if (process == 0)
    {
        readEnd.close();
        runAndLeave(work, writeEnd.get(), parent);
    }
    jobs.push_back({process, std::move(readEnd), {}, std::move(finished)});
}

void JobPool::finish()
{
    while (!jobs.empty())
        waitForOne();
}

/// False at the end of what there is to read.
bool JobPool::readSome(Job& job)
{
    std::array<char, 65536> buffer{};
    const ssize_t count = read(job.results.get(), buffer.data(), buffer.size());
    if (count > 0)
        job.text.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

void JobPool::end(const Job& job)
{
    int status = 0;
    while (waitpid(job.process, &status, 0) < 0 && errno == EINTR)
    {
    }
    job.finished(job.text, describeEnd(status));
}

void JobPool::waitForOne()
{
    for (std::size_t before = jobs.size(); jobs.size() == before;)
    {
        std::vector<pollfd> waiting;
        for (const Job& job : jobs)
            waiting.push_back({job.results.get(), POLLIN, 0});
        if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR)
            throwSystemError("poll");
        for (std::size_t i = jobs.size(); i-- > 0;)
        {
            if (waiting[i].revents == 0 || readSome(jobs[i]))
                continue;
            const Job ended = std::move(jobs[i]);
            jobs.erase(jobs.begin() + static_cast<std::ptrdiff_t>(i));
            end(ended);
        }
    }
}

} // namespace kalim::program
