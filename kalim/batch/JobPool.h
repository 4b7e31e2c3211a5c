#pragma once

#include "audiofile/FileBytes.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kalim::program
{

/// How many pieces of work to do at a time where so many are asked for: as many as there are cores
/// for 0.
int chooseNumJobs(std::size_t asked);

/// Runs pieces of work in processes of their own, some at a time, so that one that crashes takes no
/// other with it. For a process with one thread.
class JobPool
{
public:
    /// Runs in a process of its own; what it returns is handed over. Must not throw.
    using Work = std::function<std::string()>;

    /// Told what a piece of work returned, or in `failure` how its process ended without.
    using Finished = std::function<void(const std::string& result, const std::string& failure)>;

    explicit JobPool(int mostAtOnce);

    /// Ends the processes that are still at work.
    ~JobPool();

    JobPool(const JobPool&) = delete;
    JobPool& operator=(const JobPool&) = delete;

    /// Waits for a free place, then starts. Throws std::system_error when no process can be made.
    void start(const Work& work, Finished finished);

    /// Waits until all have ended.
    void finish();

private:
    struct Job
    {
        pid_t process = 0;
        FileDescriptor results;
        std::string text;
        Finished finished;
    };

    void waitForOne();
    static bool readSome(Job& job);
    static void end(const Job& job);

    std::size_t most;
    std::vector<Job> jobs;
};

} // namespace kalim::program
