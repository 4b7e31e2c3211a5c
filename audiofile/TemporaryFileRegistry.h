#pragma once

#include <cstddef>
#include <string>

namespace kalim
{

/// The unfinished files of this process, kept where a signal handler can read them. Up to 16 at a
/// time; further ones are simply not removed by a signal.
class TemporaryFileRegistry
{
public:
    /// Makes a path known while it lives; the path should be absolute.
    class Entry
    {
    public:
        explicit Entry(const std::string& path);
        ~Entry();

        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        std::size_t slot;
    };

    /// Removes every file known; safe in a signal handler.
    static void removeAll();

    /// Lets SIGINT, SIGTERM and SIGHUP remove the files and then end the process as if it had no
    /// handler. A signal that the parent made ignored (as nohup does) stays ignored.
    static void installSignalHandlers();
};

} // namespace kalim
