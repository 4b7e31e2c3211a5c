#include "audiofile/FileBytes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

/// Repeats a call of the system that may write only a part.
template <typename Call>
int writeAll(std::span<const std::byte> bytes, const Call& call)
{
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t written = call(bytes.subspan(done), static_cast<off_t>(done));
        if (written == 0)
            return ENOSPC;
        if (written < 0 && errno != EINTR)
            return errno;
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    return 0;
}

} // namespace

FileDescriptor::FileDescriptor(int descriptorToOwn)
    : descriptor(descriptorToOwn)
{
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other)
    {
        close();
        descriptor = std::exchange(other.descriptor, -1);
    }
    return *this;
}

FileDescriptor::~FileDescriptor()
{
    close();
}

bool FileDescriptor::close()
{
    const int closing = std::exchange(descriptor, -1);
    return closing < 0 || ::close(closing) == 0;
}

std::int64_t fileSizeOf(int descriptor)
{
    struct stat status
    {
    };

    return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

std::vector<std::byte> readBytesAt(int descriptor, std::int64_t offset, std::int64_t count)
{
    // Sizes often come from the file itself and need not be true.
    const auto there = std::clamp<std::int64_t>(fileSizeOf(descriptor) - offset, 0, count);
    std::vector<std::byte> bytes(static_cast<std::size_t>(there));
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const auto got = pread(descriptor, bytes.data() + done, bytes.size() - done,
                               offset + static_cast<off_t>(done));
        if (got < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category());
        if (got == 0)
            break;
        done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    bytes.resize(done);
    return bytes;
}

void writeBytesAt(int descriptor, std::int64_t offset, std::span<const std::byte> bytes)
{
    const auto write = [&](std::span<const std::byte> rest, off_t done)
    { return pwrite(descriptor, rest.data(), rest.size(), offset + done); };
    if (const int error = writeAll(bytes, write))
        throw std::system_error(error, std::generic_category());
}

int writeBytes(int descriptor, std::span<const std::byte> bytes)
{
    return writeAll(bytes, [&](std::span<const std::byte> rest, off_t)
                    { return write(descriptor, rest.data(), rest.size()); });
}

std::uint64_t bigEndian(std::span<const std::byte> bytes)
{
    std::uint64_t number = 0;
    for (const auto byte : bytes)
        number = number << 8 | std::to_integer<std::uint64_t>(byte);
    return number;
}

std::uint64_t littleEndian(std::span<const std::byte> bytes)
{
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i)
        number = number << 8 | std::to_integer<std::uint64_t>(bytes[i - 1]);
    return number;
}

std::string_view asText(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace kalim
