#pragma once

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

} // namespace kalim
