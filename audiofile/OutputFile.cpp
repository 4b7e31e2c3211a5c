#include "audiofile/OutputFile.h"

#include "base/FileError.h"

#include <climits>
#include <fmt/format.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>

namespace kalim
{
namespace
{

enum class SlotState
{
    free,
    changing,
    used
};

struct Slot
{
    std::atomic<SlotState> state = SlotState::free;
    std::array<char, PATH_MAX> path{};
};

static_assert(std::atomic<SlotState>::is_always_lock_free);

std::array<Slot, 16> slots;

void removeAndEnd(int signalNumber)
{
    TemporaryFileRegistry::removeAll();
    // The disposition was reset on entry, so that this ends the process with the right status.
    raise(signalNumber);
}

void installHandler(int signalNumber)
{
    struct sigaction previous
    {
    };

    sigaction(signalNumber, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN)
        return;

    struct sigaction action
    {
    };

    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

constexpr auto alreadyExists = "already exists";

std::optional<struct stat> statusOf(const std::filesystem::path& path)
{
    struct stat status
    {
    };

    if (stat(path.c_str(), &status) != 0)
        return {};
    return status;
}

bool isNameTaken(const std::filesystem::path& path)
{
    struct stat status
    {
    };

    if (lstat(path.c_str(), &status) == 0)
        return true;
    if (errno != ENOENT)
        throw FileError(path, errno);
    return false;
}

void checkTarget(const std::filesystem::path& target, Existing existing)
{
    if (!isNameTaken(target))
        return;
    const auto status = statusOf(target);
    if (!status && errno == ENOENT)
        throw FileError(target, "is a link that leads nowhere");
    if (!status)
        throw FileError(target, errno);
    if (S_ISDIR(status->st_mode))
        throw FileError(target, "is a folder");
    if (!S_ISREG(status->st_mode))
        throw FileError(target, "is not a regular file");
    if (existing == Existing::keep)
        throw FileError(target, alreadyExists);
}

std::filesystem::path folderOf(const std::filesystem::path& path)
{
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

void checkFolder(const std::filesystem::path& target)
{
    const auto folder = folderOf(target);
    const auto status = statusOf(folder);
    if (!status && errno == ENOENT)
        throw FileError(target, fmt::format("the folder {} does not exist", printable(folder)));
    if (!status)
        throw FileError(target, errno);
    if (!S_ISDIR(status->st_mode))
        throw FileError(target, fmt::format("{} is not a folder", printable(folder)));
}

constexpr const char* hiddenStart = ".kalim-";
constexpr const char* hiddenEnd = ".tmp";

std::string hiddenName()
{
    std::random_device random;
    return fmt::format("{}{:08x}{:08x}{}", hiddenStart, random(), random(), hiddenEnd);
}

bool isHiddenName(const std::string& name)
{
    return name.starts_with(hiddenStart) && name.ends_with(hiddenEnd);
}

/// A move that never replaces, for file systems where the system has no single call for it.
int moveThroughLink(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (link(from.c_str(), to.c_str()) == 0)
    {
        unlink(from.c_str());
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS && errno != EMLINK)
        return errno;
    if (isNameTaken(to))
        return EEXIST;
    return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int moveWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    return moveThroughLink(from, to);
}

/// Makes a new name survive a power cut; not every file system can, which is no failure.
void synchroniseFolder(const std::filesystem::path& folder)
{
    const FileDescriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        fsync(directory.get());
}

} // namespace

TemporaryFileRegistry::Entry::Entry(const std::string& path)
    : slot(slots.size())
{
    if (path.size() >= PATH_MAX)
        return;
    for (std::size_t i = 0; i < slots.size(); ++i)
    {
        auto expected = SlotState::free;
        if (!slots[i].state.compare_exchange_strong(expected, SlotState::changing))
            continue;
        std::ranges::copy(path, slots[i].path.begin());
        slots[i].path[path.size()] = '\0';
        slots[i].state = SlotState::used;
        slot = i;
        return;
    }
}

TemporaryFileRegistry::Entry::~Entry()
{
    if (slot < slots.size())
        slots[slot].state = SlotState::free;
}

void TemporaryFileRegistry::removeAll()
{
    for (const auto& slot : slots)
        if (slot.state == SlotState::used)
            unlink(slot.path.data());
}

void TemporaryFileRegistry::installSignalHandlers()
{
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP})
        installHandler(signalNumber);
}

OutputFile::OutputFile(const std::filesystem::path& target, Existing whatToDo)
    : targetPath(target)
    , existing(whatToDo)
{
    finalPath = resolvedTarget(target);
    checkTarget(target, existing);
    checkFolder(target);
    create();
}

OutputFile::~OutputFile()
{
    if (registration)
        unlink(hiddenPath.c_str());
}

void OutputFile::create()
{
    do
    {
        hiddenPath = folderOf(finalPath) / hiddenName();
        registration.emplace(hiddenPath.native());
        // Created with all permissions and not through mkstemp, so that the umask decides.
        file =
            FileDescriptor(open(hiddenPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    } while (file.isOpen() ? !holdLock() : errno == EEXIST);

    if (!file.isOpen())
        throw FileError(targetPath, fmt::format("cannot create a file in {}: {}",
                                                printable(folderOf(targetPath)),
                                                std::generic_category().message(errno)));
    if (const auto replaced = statusOf(finalPath))
        fchmod(file.get(), replaced->st_mode & 0777U);
}

/// False where the file was taken for an abandoned one before it was locked. File systems without
/// locks know no abandoned files.
bool OutputFile::holdLock()
{
    lock = FileDescriptor(dup(file.get()));
    const bool isTaken = flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat status = {};
    return !isTaken && fstat(file.get(), &status) == 0 && status.st_nlink > 0;
}

void OutputFile::removeAbandoned(const std::filesystem::path& folder)
{
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failed))
    {
        if (!isHiddenName(entry.path().filename().native()))
            continue;
        const FileDescriptor found(open(entry.path().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
        if (found.isOpen() && flock(found.get(), LOCK_EX | LOCK_NB) == 0)
            unlink(entry.path().c_str());
    }
}

void OutputFile::write(std::span<const std::byte> bytes)
{
    if (const int error = writeBytes(file.get(), bytes))
        throw FileError(targetPath, error);
}

void OutputFile::finish()
{
    if (!file.isOpen())
        return;
    if (fsync(file.get()) != 0 && errno != EINVAL)
        throw FileError(targetPath, errno);
    if (!file.close())
        throw FileError(targetPath, errno);
}

void OutputFile::commit()
{
    finish();
    moveToTarget();
    registration.reset();
    synchroniseFolder(folderOf(finalPath));
}

void OutputFile::moveToTarget() const
{
    if (existing == Existing::replace)
    {
        if (rename(hiddenPath.c_str(), finalPath.c_str()) != 0)
            throw FileError(targetPath, errno);
        return;
    }
    const int failure = moveWithoutReplacing(hiddenPath, finalPath);
    if (failure == EEXIST)
        throw FileError(targetPath, alreadyExists);
    if (failure != 0)
        throw FileError(targetPath, failure);
}

std::filesystem::path resolvedTarget(const std::filesystem::path& target)
{
    if (target.empty())
        throw FileError(target, "the output has no name");
    std::error_code failed;
    const auto absolute = std::filesystem::absolute(target, failed);
    auto path = std::filesystem::weakly_canonical(absolute, failed);
    return failed ? absolute.lexically_normal() : path;
}

bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b)
{
    const auto first = statusOf(a);
    const auto second = statusOf(b);
    return first && second && first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

} // namespace kalim
