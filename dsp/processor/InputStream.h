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

} // namespace orvo::files
