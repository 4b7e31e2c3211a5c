#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace kalim
{

/// Lets the audio library write to an open file, and remembers the first failure: an encoder that
/// writes its last block while it is closed tells nobody that the disk was full. To the library
/// every write succeeds; what follows a failure goes nowhere.
class DescriptorSink
{
public:
    /// @param descriptor open for reading and writing; not owned
    explicit DescriptorSink(int descriptor);

    /// Functions for the library, to be called with this object.
    static SF_VIRTUAL_IO functions();

    /// Number of the first error of the system, 0 when all went well.
    int errorNumber() const { return firstError; }

private:
    std::int64_t write(std::span<const std::byte> bytes);

    int descriptor;
    int firstError = 0;
};

} // namespace kalim
