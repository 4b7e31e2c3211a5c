#pragma once

#include <cstddef>

namespace orvo::files
{

/// A source of bytes.
class InputStream
{
public:
    InputStream() = default;
    virtual ~InputStream() = default;

    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /// Reads up to `numBytes` into `destination` and returns how many there were; the rest of the
    /// destination stays as it is.
    virtual std::size_t read(void* destination, std::size_t numBytes) = 0;
};

/// A sink of bytes.
class OutputStream
{
public:
    OutputStream() = default;
    virtual ~OutputStream() = default;

    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    /// Appends `numBytes` bytes and returns whether they were taken.
    virtual bool write(const void* source, std::size_t numBytes) = 0;
};

} // namespace orvo::files
