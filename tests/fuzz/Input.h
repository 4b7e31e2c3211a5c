#pragma once

#include "audiofile/FileBytes.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>

namespace kalim::fuzz
{

/// The bytes that a fuzzer made up as a file in memory.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : file(memfd_create("fuzz", MFD_CLOEXEC))
    {
        if (writeBytes(file.get(), std::as_bytes(std::span(data, size))) != 0)
            std::abort();
    }

    int get() const { return file.get(); }

    std::filesystem::path getPath() const { return "/proc/self/fd/" + std::to_string(file.get()); }

private:
    FileDescriptor file;
};

} // namespace kalim::fuzz
