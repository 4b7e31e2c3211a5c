#pragma once

#include <cstddef>

namespace orvo::files
{

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
