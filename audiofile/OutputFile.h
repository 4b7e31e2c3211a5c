#pragma once

#include "audiofile/FileBytes.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
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

/// What to do about a file that already has the output's name.
enum class Existing
{
    keep,
    replace
};

/// A file that appears under its name only when it is complete: it is written beside it under a
/// hidden name, and the destructor removes what was not committed. Several files that belong
/// together are all finished first and then committed, so that a full disk leaves none of them.
class OutputFile
{
public:
    /// Creates the hidden file, with the permissions that the umask leaves. The target is the final
    /// name; a symbolic link to a file stays one, and the file is replaced. Throws FileError when
    /// the target exists and is to be kept, is a folder, no regular file or a link that leads
    /// nowhere, when it has no name, or when its folder is missing or cannot be written.
    OutputFile(const std::filesystem::path& target, Existing existing);
    ~OutputFile();

    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::filesystem::path& getTarget() const { return targetPath; }

    const std::filesystem::path& getTemporaryPath() const { return hiddenPath; }

    /// Open for reading and writing until finish() closes it.
    int getDescriptor() const { return file.get(); }

    /// Appends bytes. Throws FileError when the disk is full or fails.
    void write(std::span<const std::byte> bytes);

    /// Puts the content safely on the disk, still under the hidden name, and closes the file.
    /// Throws FileError when the disk is full or fails.
    void finish();

    /// Puts the file under its name in one step, after finish() if that was not called. Throws
    /// FileError when the disk fails, or when meanwhile somebody made a file of that name that is
    /// to be kept.
    void commit();

    /// Removes unfinished files that processes which were killed have left in a folder.
    static void removeAbandoned(const std::filesystem::path& folder);

private:
    void create();
    bool holdLock();
    void moveToTarget() const;

    std::filesystem::path targetPath;
    std::filesystem::path finalPath;
    std::filesystem::path hiddenPath;
    Existing existing;
    std::optional<TemporaryFileRegistry::Entry> registration;
    FileDescriptor file;

    /// Keeps the file locked, as a sign that somebody works on it, until it has its name.
    FileDescriptor lock;
};

/// The full path at which an output of that name will appear: without "." and "..", and behind
/// symbolic links. Two names are one output exactly if these are equal. Throws FileError for an
/// empty name.
std::filesystem::path resolvedTarget(const std::filesystem::path& target);

/// Whether both names lead to one and the same existing file, through links or not.
bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

} // namespace kalim
