#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace kalim
{

/// Owner of an open file descriptor, which it closes; -1 stands for none.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor);
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return descriptor; }

    bool isOpen() const { return descriptor >= 0; }

    /// Closes early; false when the system reports that data were lost.
    bool close();

private:
    int descriptor = -1;
};

/// Bytes of an open file, 0 if it cannot tell.
std::int64_t fileSizeOf(int descriptor);

/// The bytes at an offset, fewer at the end of the file; the file's position stays as it is. Throws
/// std::system_error when the disk fails.
std::vector<std::byte> readBytesAt(int descriptor, std::int64_t offset, std::int64_t count);

/// Replaces or adds bytes at an offset; the file's position stays as it is. Throws
/// std::system_error when the disk is full or fails.
void writeBytesAt(int descriptor, std::int64_t offset, std::span<const std::byte> bytes);

/// Writes all bytes at the file's position. Returns 0, or the number of the system's error.
[[nodiscard]] int writeBytes(int descriptor, std::span<const std::byte> bytes);

/// The number that bytes store, the most significant byte first.
std::uint64_t bigEndian(std::span<const std::byte> bytes);

/// The number that bytes store, the least significant byte first.
std::uint64_t littleEndian(std::span<const std::byte> bytes);

/// The same bytes seen as text.
std::string_view asText(std::span<const std::byte> bytes);

} // namespace kalim
